// Point operations: the shared parameter block and the dispatcher that
// runs a kernel either directly on every line or once over a table that is
// then mapped onto the image (whichever is cheaper; results are identical).
#pragma once

#include "ops/frame.hpp"

namespace mvip::ops {

// Parameters of the point kernels; each operation uses the fields it needs.
struct PointParams {
    uint32_t maxval = 0;       // integer images: 2^bits - 1
    uint32_t bits = 0;
    double lo = 0, hi = 1;     // float images: the format's value range
    uint64_t u[4] = {};        // unsigned arguments
    int64_t s[2] = {};         // signed arguments
    double d[3] = {};          // floating arguments
    const void* table = nullptr;
    uint32_t pixies = 1;       // pixie-wise operations: pixies per pixel
};

// Fills maxval, bits and the float range from an image's format.
PointParams params_for(const mvimage* im);

// Runs `kernels` over src -> dst (all pixies, colour accepted).  With
// `table_route`, integer images large enough for it go through a table of
// 2^bits entries built by running the kernel once over the identity.  Both
// routes give identical results; operations ask for the table where their
// kernel costs more than a lookup (contrast, pivoted contrast, gamma).
// With `runs`, only those runs of the source are read and the same places
// of the destination written (the table then pays by the runs' area).
int32_t point_dispatch(mvabort* hook, mvimage* src, mvimage* dst, const KernelSet& kernels,
                       const PointParams& params, bool table_route, uint32_t extra_options = 0,
                       const RunList* runs = nullptr);

// The same without the entry poll of the hook (for operations that check
// their own arguments after it).
int32_t point_run(mvabort* hook, mvimage* src, mvimage* dst, const KernelSet& kernels,
                  const PointParams& params, bool table_route, uint32_t extra_options = 0,
                  const RunList* runs = nullptr);

// Maps src through a table of the source's type (u8, u16 or u32), without
// the entry poll of the hook.  u8 tables need 2^bits entries; shorter u16
// and u32 tables pass the values beyond their end unchanged.
int32_t map_through_table(mvabort* hook, mvimage* src, mvimage* dst, const void* table,
                          uint64_t entries, const RunList* runs = nullptr);

// Pixels covered by a run list.
uint64_t run_area(const RunList& runs);

// Mask of all pixies of an image.
inline uint32_t all_pixies(const mvimage* im) { return all_pixies_mask(im->pixfmt.pixies); }

}  // namespace mvip::ops
