#include "files/jpeg/tables.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace mvip::files::jpeg {

namespace {

constexpr std::array<uint8_t, 64> zigzag_order() {
    std::array<uint8_t, 64> z{};
    int x = 0, y = 0;
    for (int k = 0; k < 64; ++k) {
        z[size_t(k)] = uint8_t(y * 8 + x);
        if ((x + y) % 2 == 0) {  // moving up and right
            if (x == 7) ++y;
            else if (y == 0) ++x;
            else --y, ++x;
        } else {  // moving down and left
            if (y == 7) ++x;
            else if (x == 0) ++y;
            else ++y, --x;
        }
    }
    return z;
}
constexpr std::array<uint8_t, 64> kZigzagArray = zigzag_order();

constexpr HuffTable make_huff(std::initializer_list<uint8_t> counts, std::initializer_list<uint8_t> symbols) {
    HuffTable s{};
    size_t i = 0;
    for (uint8_t c : counts) s.counts[i++] = c;
    i = 0;
    for (uint8_t v : symbols) s.symbols[i++] = v;
    return s;
}

}  // namespace

const uint8_t kZigzag[64] = {
#define Z(i) kZigzagArray[i]
    Z(0),  Z(1),  Z(2),  Z(3),  Z(4),  Z(5),  Z(6),  Z(7),  Z(8),  Z(9),  Z(10), Z(11), Z(12),
    Z(13), Z(14), Z(15), Z(16), Z(17), Z(18), Z(19), Z(20), Z(21), Z(22), Z(23), Z(24), Z(25),
    Z(26), Z(27), Z(28), Z(29), Z(30), Z(31), Z(32), Z(33), Z(34), Z(35), Z(36), Z(37), Z(38),
    Z(39), Z(40), Z(41), Z(42), Z(43), Z(44), Z(45), Z(46), Z(47), Z(48), Z(49), Z(50), Z(51),
    Z(52), Z(53), Z(54), Z(55), Z(56), Z(57), Z(58), Z(59), Z(60), Z(61), Z(62), Z(63),
#undef Z
};

const uint8_t kLumaQuant[64] = {
    16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,
    14, 13, 16, 24, 40,  57,  69,  56,  14, 17, 22, 29, 51,  87,  80,  62,
    18, 22, 37, 56, 68,  109, 103, 77,  24, 35, 55, 64, 81,  104, 113, 92,
    49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99,
};

const uint8_t kChromaQuant[64] = {
    17, 18, 24, 47, 99, 99, 99, 99, 18, 21, 26, 66, 99, 99, 99, 99,
    24, 26, 56, 99, 99, 99, 99, 99, 47, 66, 99, 99, 99, 99, 99, 99,
    99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99,
    99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99,
};

const HuffTable kDcLuma = make_huff({0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0},
                                   {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11});
const HuffTable kDcChroma = make_huff({0, 3, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0},
                                     {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11});
const HuffTable kAcLuma = make_huff(
    {0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 0x7d},
    {0x01, 0x02, 0x03, 0x00, 0x04, 0x11, 0x05, 0x12, 0x21, 0x31, 0x41, 0x06, 0x13, 0x51, 0x61, 0x07, 0x22, 0x71,
     0x14, 0x32, 0x81, 0x91, 0xa1, 0x08, 0x23, 0x42, 0xb1, 0xc1, 0x15, 0x52, 0xd1, 0xf0, 0x24, 0x33, 0x62, 0x72,
     0x82, 0x09, 0x0a, 0x16, 0x17, 0x18, 0x19, 0x1a, 0x25, 0x26, 0x27, 0x28, 0x29, 0x2a, 0x34, 0x35, 0x36, 0x37,
     0x38, 0x39, 0x3a, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0x4a, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59,
     0x5a, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0x6a, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7a, 0x83,
     0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8a, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99, 0x9a, 0xa2, 0xa3,
     0xa4, 0xa5, 0xa6, 0xa7, 0xa8, 0xa9, 0xaa, 0xb2, 0xb3, 0xb4, 0xb5, 0xb6, 0xb7, 0xb8, 0xb9, 0xba, 0xc2, 0xc3,
     0xc4, 0xc5, 0xc6, 0xc7, 0xc8, 0xc9, 0xca, 0xd2, 0xd3, 0xd4, 0xd5, 0xd6, 0xd7, 0xd8, 0xd9, 0xda, 0xe1, 0xe2,
     0xe3, 0xe4, 0xe5, 0xe6, 0xe7, 0xe8, 0xe9, 0xea, 0xf1, 0xf2, 0xf3, 0xf4, 0xf5, 0xf6, 0xf7, 0xf8, 0xf9, 0xfa});
const HuffTable kAcChroma = make_huff(
    {0, 2, 1, 2, 4, 4, 3, 4, 7, 5, 4, 4, 0, 1, 2, 0x77},
    {0x00, 0x01, 0x02, 0x03, 0x11, 0x04, 0x05, 0x21, 0x31, 0x06, 0x12, 0x41, 0x51, 0x07, 0x61, 0x71, 0x13, 0x22,
     0x32, 0x81, 0x08, 0x14, 0x42, 0x91, 0xa1, 0xb1, 0xc1, 0x09, 0x23, 0x33, 0x52, 0xf0, 0x15, 0x62, 0x72, 0xd1,
     0x0a, 0x16, 0x24, 0x34, 0xe1, 0x25, 0xf1, 0x17, 0x18, 0x19, 0x1a, 0x26, 0x27, 0x28, 0x29, 0x2a, 0x35, 0x36,
     0x37, 0x38, 0x39, 0x3a, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0x4a, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58,
     0x59, 0x5a, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0x6a, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7a,
     0x82, 0x83, 0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8a, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99, 0x9a,
     0xa2, 0xa3, 0xa4, 0xa5, 0xa6, 0xa7, 0xa8, 0xa9, 0xaa, 0xb2, 0xb3, 0xb4, 0xb5, 0xb6, 0xb7, 0xb8, 0xb9, 0xba,
     0xc2, 0xc3, 0xc4, 0xc5, 0xc6, 0xc7, 0xc8, 0xc9, 0xca, 0xd2, 0xd3, 0xd4, 0xd5, 0xd6, 0xd7, 0xd8, 0xd9, 0xda,
     0xe2, 0xe3, 0xe4, 0xe5, 0xe6, 0xe7, 0xe8, 0xe9, 0xea, 0xf2, 0xf3, 0xf4, 0xf5, 0xf6, 0xf7, 0xf8, 0xf9, 0xfa});

void scale_quant(const uint8_t base[64], uint32_t quality_tenths, bool have_record, uint16_t out[64]) {
    uint32_t q = have_record ? std::min<uint32_t>(quality_tenths / 10, 100) : 50;
    const uint32_t factor = q < 1 ? 5000 : q >= 50 ? (100 - q) * 2 : 5000 / q;
    for (int i = 0; i < 64; ++i) {
        uint32_t v = (uint32_t(base[i]) * factor + 50) / 100;
        v = std::clamp<uint32_t>(v, 1, 32767);
        out[i] = uint16_t(std::min<uint32_t>(v, 255));
    }
}

HuffTable build_table(const uint32_t counts[256]) {
    // Plain Huffman code lengths over the counted symbols plus one reserved
    // symbol of the least weight, which takes the all-ones code and is
    // dropped at the end.
    struct Node {
        uint64_t weight;
        int a, b;  // children, -1 for a leaf
    };
    std::vector<Node> nodes;
    std::vector<int> symbol_of;  // leaf node -> symbol (256 = reserved)
    for (int s = 0; s < 256; ++s)
        if (counts[s] != 0) {
            nodes.push_back({counts[s], -1, -1});
            symbol_of.push_back(s);
        }
    if (nodes.empty()) {
        nodes.push_back({1, -1, -1});
        symbol_of.push_back(0);
    }
    nodes.push_back({0, -1, -1});
    symbol_of.push_back(256);
    const size_t leaves = nodes.size();
    std::vector<int> open(leaves);
    for (size_t i = 0; i < leaves; ++i) open[i] = int(i);
    auto lighter = [&](int x, int y) { return nodes[size_t(x)].weight > nodes[size_t(y)].weight; };
    while (open.size() > 1) {
        std::sort(open.begin(), open.end(), lighter);  // heaviest first
        const int x = open.back();
        open.pop_back();
        const int y = open.back();
        open.pop_back();
        nodes.push_back({nodes[size_t(x)].weight + nodes[size_t(y)].weight, x, y});
        open.push_back(int(nodes.size() - 1));
    }
    std::vector<int> depth(nodes.size(), 0);
    for (size_t i = nodes.size(); i-- > leaves;) {
        depth[size_t(nodes[i].a)] = depth[i] + 1;
        depth[size_t(nodes[i].b)] = depth[i] + 1;
    }
    uint32_t bits[320] = {};  // depths stay far below this for 32-bit counts
    for (size_t i = 0; i < leaves; ++i) ++bits[depth[i]];
    // Limit the lengths to 16: a pair at the longest length becomes one
    // code a bit shorter, and a shorter code splits to make room for it.
    for (int i = 319; i > 16; --i) {
        while (bits[i] > 0) {
            int j = i - 2;
            while (bits[j] == 0) --j;
            bits[i] -= 2;
            bits[i - 1] += 1;
            bits[j + 1] += 2;
            bits[j] -= 1;
        }
    }
    // The reserved symbol leaves the longest length.
    int longest = 16;
    while (bits[longest] == 0) --longest;
    bits[longest] -= 1;

    // Symbols by decreasing count get the lengths in increasing order.
    std::vector<int> order;
    for (size_t i = 0; i < leaves; ++i)
        if (symbol_of[i] != 256) order.push_back(symbol_of[i]);
    std::stable_sort(order.begin(), order.end(), [&](int x, int y) { return counts[x] > counts[y]; });
    HuffTable codes{};
    size_t next = 0;
    for (int len = 1; len <= 16; ++len) {
        codes.counts[len - 1] = uint8_t(bits[len]);
        for (uint32_t k = 0; k < bits[len]; ++k, ++next) codes.symbols[next] = uint8_t(order[next]);
    }
    return codes;
}

}  // namespace mvip::files::jpeg
