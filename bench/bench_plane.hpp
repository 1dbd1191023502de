// A 2048 x 2048 test image of 8- or 16-bit values shared by an mvip record
// and (when OpenCV is present) a cv::Mat: noise from a fixed seed, or a
// smooth ramp (long stretches of one value).
#pragma once

#include "mvip.h"

#ifdef MVIP_HAVE_OPENCV
#include <opencv2/core.hpp>
#endif

#include <cstdint>
#include <vector>

namespace bench {

constexpr int kSide = 2048;
constexpr size_t kPixels = size_t{kSide} * kSide;

template <class T>
struct Plane {
    std::vector<T> data;
    mvimage im{};
    explicit Plane(uint32_t seed, bool smooth = false, uint32_t pixies = 1) : data(kPixels * pixies) {
        uint32_t s = seed * 2654435761u + 7;
        for (size_t i = 0; i < data.size(); ++i) {
            s = s * 1664525u + 1013904223u;
            const size_t x = (i / pixies) % kSide, y = i / pixies / kSide;
            data[i] = smooth ? static_cast<T>((x + y) / 16) : static_cast<T>(s >> (32 - 8 * sizeof(T)));
        }
        const uint32_t dims[2] = {kSide, kSide};
        mvimage_memory(&im, data.data(), dims, 0, sizeof(T) == 1 ? MVTYPE_U8 : MVTYPE_U16, 0, pixies,
                       pixies == 3 ? MVCS_RGB : MVCS_GREY, 0);
    }
#ifdef MVIP_HAVE_OPENCV
    cv::Mat mat() { return cv::Mat(kSide, kSide, sizeof(T) == 1 ? CV_8UC1 : CV_16UC1, data.data()); }
#endif
};

}  // namespace bench
