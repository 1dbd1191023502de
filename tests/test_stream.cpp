// The buffered positional file layer against a byte-vector model: random
// reads and writes at random positions and sizes (inside one buffer,
// across its edge, larger than it), sticky status flags, reopening.
#include "files/stream.hpp"

#include "file_util.hpp"

#include <algorithm>

using mvip::files::Stream;

TEST(FileStream, MatchesAByteModel) {
    mvtest::TempPath path("stream.bin");
    std::mt19937 rng(3);
    std::vector<uint8_t> model;
    {
        Stream s;
        ASSERT_EQ(s.open(path.c_str(), "w+b"), 0);
        for (int op = 0; op < 3000; ++op) {
            const size_t sizes[] = {0, 1, 3, 100, 4096, 65535, 65536, 65537, 200000};
            const size_t n = rng() % 4 == 0 ? sizes[rng() % 9] : rng() % 300;
            const uint64_t pos = model.empty() ? 0 : rng() % (model.size() + 1);
            if (rng() % 2 && !model.empty()) {
                const size_t take = std::min<size_t>(n, model.size() - pos);
                std::vector<uint8_t> got(take, 0xEE);
                s.read(pos, got.data(), take);
                ASSERT_TRUE(std::equal(got.begin(), got.end(), model.begin() + long(pos))) << "op " << op;
            } else {
                std::vector<uint8_t> data(n);
                for (auto& b : data) b = uint8_t(rng());
                s.write(pos, data.data(), n);
                if (pos + n > model.size()) model.resize(pos + n);
                std::copy(data.begin(), data.end(), model.begin() + long(pos));
            }
            ASSERT_EQ(s.length(), model.size());
            ASSERT_EQ(s.status(), 0);
        }
        EXPECT_EQ(s.close(), 0);
    }
    EXPECT_EQ(mvtest::file_bytes(path.str()), model);
    Stream r;
    ASSERT_EQ(r.open(path.c_str(), "rb"), 0);
    EXPECT_EQ(r.length(), model.size());
    std::vector<uint8_t> tail(16, 0xEE);
    r.read(model.size() - 4, tail.data(), tail.size());  // reads past the end
    EXPECT_TRUE(std::equal(tail.begin(), tail.begin() + 4, model.end() - 4));
    EXPECT_TRUE(std::all_of(tail.begin() + 4, tail.end(), [](uint8_t b) { return b == 0; }));
    EXPECT_EQ(r.status(), -10);
    r.read(0, tail.data(), 4);
    EXPECT_EQ(r.status(), -10);  // sticky
    EXPECT_EQ(r.close(), -10);
}

TEST(FileStream, OpeningModesAndFailures) {
    mvtest::TempPath path("modes.bin");
    Stream s;
    EXPECT_EQ(s.open(path.c_str(), "rb"), -13);
    EXPECT_EQ(s.open(path.c_str(), "r+b"), -13);
    EXPECT_EQ(s.open(path.c_str(), "xb"), -1);
    EXPECT_EQ(s.open(nullptr, "rb"), -1);
    EXPECT_EQ(s.open("/nonexistent-dir/f.bin", "wb"), -14);
    EXPECT_EQ(s.open(::testing::TempDir().c_str(), "rb"), -13);  // a folder is not a file
    ASSERT_EQ(s.open(path.c_str(), "wb"), 0);
    s.write(0, "abcdef", 6);
    EXPECT_EQ(s.close(), 0);
    Stream u;
    ASSERT_EQ(u.open(path.c_str(), "r+b"), 0);
    u.write(2, "XY", 2);
    char back[6];
    u.read(0, back, 6);
    EXPECT_EQ(std::string(back, 6), "abXYef");
    u.close_and_remove();
    EXPECT_FALSE(mvtest::file_exists(path.str()));
}
