// Blob lists by name: the tests of the blob search by their names, and the
// search over a whole image in blocks of records.  Shared by `mvtool
// blobs`, the demo and the Python module.

#include "optable.hpp"

#include <algorithm>
#include <string>
#include <vector>

namespace mvtool {

namespace {

// Test names and their codes (the code with bit 0x80 flipped is the
// opposite test).
struct TestName {
    const char* name;
    uint32_t code;
};
constexpr TestName kTests[] = {
    {"lt", 91}, {"le", 92}, {"eq", 93}, {"ge", 94}, {"gt", 95}, {"ne", 93 ^ 0x80},
    {"in", 101}, {"out", 101 ^ 0x80},
};

}  // namespace

uint32_t blob_test(const std::string& text) {
    for (const TestName& t : kTests)
        if (text == t.name) return t.code;
    return uint32_t(parse_integer("--test", text, 0, 255));
}

int32_t find_blobs(mvabort* hook, mvimage* image, uint32_t test, uint32_t value, uint32_t flags,
                   const int32_t* limits, uint64_t most, std::vector<mvblob>& found, uint32_t* rejected) {
    found.clear();
    int32_t position[2] = {image->wind.nw.x, image->wind.nw.y};
    uint32_t rejected_total = 0;
    // Blocks of records: the scan position carries the search from one
    // call to the next.  With flag 2 (image untouched) one call must see
    // the whole window, since a further call would meet its blobs again.
    const uint64_t block = flags & 2 ? most : 4096;
    int32_t n = 0;
    while (found.size() < most) {
        const uint64_t want = std::min<uint64_t>(std::min(block, most - found.size()), uint64_t{1} << 26);
        const size_t at = found.size();
        found.resize(at + want);
        uint32_t rejected_now = 0;
        n = mvip8_bloblist(hook, image, position, test, value, flags, limits, nullptr, 0, want, found.data() + at,
                           &rejected_now);
        rejected_total += rejected_now;
        found.resize(at + uint64_t(std::max(n, 0)));
        if (n < 0 || uint64_t(n) < want || flags & 2) break;
    }
    if (rejected) *rejected = rejected_total;
    return n < 0 ? n : 0;
}

}  // namespace mvtool
