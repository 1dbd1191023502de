// The exported AVI writers: whole stacks (mvio8_aviwriteseq,
// mvio8_aviodmlwriteseq) and the handle that takes frames one by one.
#include "core/record.hpp"
#include "files/avi/format.hpp"
#include "files/avi/writer.hpp"
#include "files/os.hpp"
#include "files/readframe.hpp"

#include <new>

// The sequence handle: the writer with its open file.
struct mvavifile {
    mvip::files::avi::Writer writer;
};

namespace mvip::files::avi {

namespace {

// Run one step; on failure delete the file and free the handle.
template <class Step>
int32_t guarded(mvavifile*& h, Step step) {
    int32_t rc;
    try {
        rc = step();
    } catch (const std::bad_alloc&) {
        rc = MVERR_MEMORY;
    } catch (...) {
        rc = MVERR_USAGE;
    }
    if (rc != 0 && h != nullptr) {
        h->writer.abandon();
        delete h;
        h = nullptr;
    }
    return rc;
}

// A refusal of the arguments also deletes the file the call names: the
// call would have replaced it.
int32_t refused(const char* filename, int32_t rc) {
    os_remove(filename);
    return rc;
}

int32_t init(mvabort* hook, mvavifile** handle, const char* filename, const mvfileinfo* params, bool opendml) {
    if (const int32_t stop = poll_hook(hook, 0, 0)) return stop;
    if (handle == nullptr || *handle != nullptr || filename == nullptr) return MVERR_USAGE;
    mvavifile* h = nullptr;
    const int32_t rc = guarded(h, [&]() -> int32_t {
        h = new mvavifile;
        const int32_t opened = h->writer.create(filename, options_from(params, opendml));
        if (opened != 0) {  // nothing was created: nothing to delete
            delete h;
            h = nullptr;
        }
        return opened;
    });
    if (rc == 0) *handle = h;
    return rc;
}

// Every plane of the stack's window, one frame each; the hook is asked
// before each with (ordinal, planes).
int32_t add_planes(mvabort* hook, Writer& writer, mvimage3* im) {
    const uint32_t depth = wind_depth(im);
    PlaneHook planes(hook, depth);
    for (uint32_t z = 0; z < depth; ++z) {
        if (const int32_t stop = planes.begin(z + 1)) return stop;
        mvimage plane{};
        if (mvimage_def2from3(&plane, im, 0, 2, z) != 0) return MVERR_USAGE;
        if (const int32_t rc = writer.add(planes.hook(), &plane); rc != 0) return rc;
    }
    return 0;
}

int32_t write_stack(mvabort* hook, mvimage3* im, const char* filename, const mvfileinfo* params, bool opendml) {
    if (const int32_t stop = poll_hook(hook, 0, 0)) return stop;
    if (filename == nullptr) return MVERR_USAGE;
    if (im == nullptr || !window_valid_3d(im) || wind_depth(im) == 0) return refused(filename, MVERR_USAGE);
    // The form of the first plane decides the frame format and, knowing the
    // number of frames, the size of the super index; a plain file that
    // could not hold every frame is refused before it is made.
    WriterOptions options;
    try {
        options = options_from(params, opendml);
    } catch (const std::bad_alloc&) {
        return refused(filename, MVERR_MEMORY);
    }
    mvimage plane{};
    FrameForm form;
    if (mvimage_def2from3(&plane, im, 0, 2, 0) != 0) return refused(filename, MVERR_USAGE);
    if (const int32_t rc = plan_frame(&plane, form); rc != 0) return refused(filename, rc);
    const uint64_t depth = wind_depth(im);
    if (opendml) {
        const uint64_t per_list = frames_per_list(form.row_bytes, form.height);
        options.lists = (depth + per_list - 1) / per_list;
    } else if (depth * (8 + form.frame_bytes) + 16 * depth + 65536 > 0xFFFFFFFFu) {
        return refused(filename, MVERR_UNSUPPORTED);
    }
    mvavifile* h = nullptr;
    return guarded(h, [&]() -> int32_t {
        h = new mvavifile;
        if (const int32_t rc = h->writer.create(filename, std::move(options)); rc != 0) {
            delete h;
            h = nullptr;
            return rc;
        }
        if (const int32_t rc = add_planes(hook, h->writer, im); rc != 0) return rc;
        if (const int32_t rc = h->writer.finish(); rc != 0) return rc;
        delete h;
        h = nullptr;
        return 0;
    });
}

}  // namespace

}  // namespace mvip::files::avi

using namespace mvip::files::avi;

extern "C" {

MVIP_API int32_t mvio8_aviwriteseq(mvabort* hook, mvimage3* im, const char* filename, const mvfileinfo* params,
                                   uint32_t /*mode*/) {
    return write_stack(hook, im, filename, params, false);
}

MVIP_API int32_t mvio8_aviodmlwriteseq(mvabort* hook, mvimage3* im, const char* filename,
                                       const mvfileinfo* params, uint32_t /*mode*/) {
    return write_stack(hook, im, filename, params, true);
}

MVIP_API int32_t mvio8_aviwriteseqinit(mvabort* hook, mvavifile** handle, const char* filename,
                                       const mvfileinfo* params, uint32_t /*mode*/) {
    return init(hook, handle, filename, params, false);
}

MVIP_API int32_t mvio8_aviodmlwriteseqinit(mvabort* hook, mvavifile** handle, const char* filename,
                                           const mvfileinfo* params, uint32_t /*mode*/) {
    return init(hook, handle, filename, params, true);
}

MVIP_API int32_t mvio8_aviwriteseqadd(mvabort* hook, mvavifile** handle, const char* /*filename*/, mvimage* im) {
    if (const int32_t stop = mvip::files::poll_hook(hook, 0, 0)) return stop;
    if (handle == nullptr || *handle == nullptr) return MVERR_USAGE;
    return guarded(*handle, [&] { return (*handle)->writer.add(hook, im); });
}

MVIP_API int32_t mvio8_aviwriteseq2(mvabort* hook, mvavifile** handle, const char* /*filename*/, mvimage3* im) {
    if (const int32_t stop = mvip::files::poll_hook(hook, 0, 0)) return stop;
    if (handle == nullptr || *handle == nullptr) return MVERR_USAGE;
    return guarded(*handle, [&]() -> int32_t {
        if (im == nullptr || !mvip::window_valid_3d(im) || mvip::wind_depth(im) == 0) return MVERR_USAGE;
        return add_planes(hook, (*handle)->writer, im);
    });
}

MVIP_API int32_t mvio8_aviwriteseqdone(mvabort* hook, mvavifile** handle, const char* /*filename*/) {
    if (const int32_t stop = mvip::files::poll_hook(hook, 0, 0)) return stop;
    if (handle == nullptr || *handle == nullptr) return MVERR_USAGE;
    return guarded(*handle, [&]() -> int32_t {
        if (const int32_t rc = (*handle)->writer.finish(); rc != 0) return rc;
        delete *handle;
        *handle = nullptr;
        return 0;
    });
}

}  // extern "C"
