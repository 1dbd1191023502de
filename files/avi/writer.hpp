// The AVI writer behind every writing call: a plain file (one RIFF "AVI "
// list) or an OpenDML file (RIFF "AVIX" extensions, a super index in the
// stream header and a standard index per list), filled frame by frame.
//
// The headers are written with the first frame, which fixes the frame
// format; counts, sizes and index entries are patched in as lists
// complete.  Any failure leaves the writer unusable; its owner deletes the
// file.
#pragma once

#include "files/avi/frame.hpp"
#include "files/avi/riff.hpp"
#include "files/stream.hpp"

#include <string>
#include <vector>

namespace mvip::files::avi {

struct WriterOptions {
    bool opendml = false;
    uint32_t scale = 1, rate = 25;
    std::string texts[4];  // MVTEXT_* slots; empty = not given
    bool has_text[4] = {};
    // OpenDML: super index entries to reserve, 0 = enough for 1 TiB of
    // frames (fixed when the first frame's size is known).
    uint64_t lists = 0;
};

// Options from a writer's parameter record (null = defaults): scale and
// rate from the first two words of the format area (0 = 1 and 25 frames
// per second), the four texts.
WriterOptions options_from(const mvfileinfo* params, bool opendml);

class Writer {
public:
    Writer() = default;
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    // Create the file ("w+b"): 0, -13/-14/-1/-2 as the file layer answers.
    int32_t create(const char* filename, WriterOptions options);
    // Append one frame: 0, the hook's answer, -1 (a frame whose size or
    // pixies differ from the first, a refused image), -11 (a frame or file
    // beyond what the format's fields can hold), -2, -7.
    int32_t add(mvabort* hook, mvimage* im);
    // Complete the indexes and headers and close: 0, -1 without any frame,
    // -7.
    int32_t finish();
    // Close and delete the file.
    void abandon() { stream_.close_and_remove(); }
    uint64_t frames() const { return total_; }

private:
    int32_t start(const FrameForm& form);
    int32_t check_room() const;
    void open_list();
    void close_list();
    void write_info();
    void write_idx1();
    void write_ix00();
    uint64_t info_bytes() const;

    Stream stream_;
    RiffWriter w_{stream_};
    WriterOptions opt_;
    FrameForm form_;
    bool started_ = false;
    uint64_t per_list_ = 0;        // OpenDML frames per RIFF list
    uint64_t capacity_ = 0;        // super index entries reserved
    uint64_t avih_ = 0, strh_ = 0, indx_ = 0, dmlh_ = 0;  // payload positions
    uint64_t riff_ = 0, movi_ = 0;  // headers of the open RIFF list and movi list
    uint64_t total_ = 0, first_list_frames_ = 0;
    uint64_t lists_ = 0;           // RIFF lists completed
    std::vector<uint64_t> data_;   // data positions of the open list's frames
    std::vector<unsigned char> chunk_;  // one frame chunk: header and pixels
};

}  // namespace mvip::files::avi
