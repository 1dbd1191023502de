#include "files/avi/writer.hpp"

#include "files/avi/format.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace mvip::files::avi {

namespace {

constexpr uint64_t kU32Max = 0xFFFFFFFFu;
// Reserved super index entries when the frame count is not known: enough
// lists for 1 TiB of frames.
constexpr uint64_t kDefaultIndexBytes = uint64_t(1) << 40;

uint32_t clip32(double v) { return v >= double(kU32Max) ? uint32_t(kU32Max) : v <= 0 ? 0u : uint32_t(v); }

}  // namespace

WriterOptions options_from(const mvfileinfo* params, bool opendml) {
    WriterOptions o;
    o.opendml = opendml;
    if (params == nullptr) return o;
    const uint32_t scale = params->area.words[0], rate = params->area.words[1];
    if (rate != 0) {
        o.rate = rate;
        o.scale = scale != 0 ? scale : 1;
    }
    for (int i = 0; i < 4; ++i) {
        if (params->texts[i] == nullptr) continue;
        o.texts[i] = params->texts[i];
        o.has_text[i] = true;
    }
    return o;
}

int32_t Writer::create(const char* filename, WriterOptions options) {
    opt_ = std::move(options);
    return stream_.open(filename, "w+b");
}

// Bytes of the INFO list, 0 when none is written: only Software,
// ImageDescription or Copyright start one (a date alone does not).
uint64_t Writer::info_bytes() const {
    if (!opt_.has_text[1] && !opt_.has_text[2] && !opt_.has_text[3]) return 0;
    uint64_t n = 12;
    for (const InfoText& t : kInfoTexts)
        if (opt_.has_text[t.slot]) n += 8 + (opt_.texts[t.slot].size() + 2) / 2 * 2;
    return n;
}

int32_t Writer::start(const FrameForm& form) {
    form_ = form;
    const bool odml = opt_.opendml;
    // One frame must fit its chunk's size field (OpenDML: 31 bits of an
    // ix00 entry); checked before its buffer is taken.
    if (odml ? form.frame_bytes >= kNotKeyFrame : form.frame_bytes > kU32Max - 65536) return MVERR_UNSUPPORTED;
    per_list_ = odml ? frames_per_list(form.row_bytes, form.height) : UINT64_MAX;
    if (odml) {
        const uint64_t list_bytes = per_list_ * form.frame_bytes;
        capacity_ = opt_.lists != 0 ? opt_.lists : (kDefaultIndexBytes + list_bytes - 1) / list_bytes;
        capacity_ = std::max<uint64_t>(capacity_, 1);
        if (capacity_ > (uint64_t(1) << 24)) return MVERR_UNSUPPORTED;
    }
    const double fps = double(opt_.rate) / double(opt_.scale);
    const bool grey = form.bitcount == 8;

    riff_ = w_.open(kRiff, kAvi);
    const uint64_t hdrl = w_.open(kList, kHdrl);
    {  // main header
        const uint64_t h = w_.open(kAvih);
        avih_ = w_.pos();
        w_.u32(clip32(std::round(1e6 / fps)));                      // microseconds per frame
        w_.u32(clip32(std::ceil(double(form.frame_bytes) * fps)));  // bytes per second
        w_.u32(0);                                                  // padding granularity
        w_.u32(kHasIndex | kIsInterleaved);
        w_.u32(0);  // total frames (of the first list), patched
        w_.u32(0);  // initial frames
        w_.u32(1);  // streams
        w_.u32(uint32_t(std::min<uint64_t>(form.frame_bytes + 8, kU32Max)));
        w_.u32(form.width);
        w_.u32(form.height);
        w_.zeros(16);
        w_.close(h);
    }
    const uint64_t strl = w_.open(kList, kStrl);
    {  // stream header
        const uint64_t h = w_.open(kStrh);
        strh_ = w_.pos();
        w_.u32(kVids);
        w_.u32(kDib);
        w_.u32(0);  // flags
        w_.u16(0);  // priority
        w_.u16(0);  // language
        w_.u32(0);  // initial frames
        w_.u32(opt_.scale);
        w_.u32(opt_.rate);
        w_.u32(0);  // start
        w_.u32(0);  // length, patched
        w_.u32(uint32_t(std::min<uint64_t>(form.frame_bytes, kU32Max)));
        w_.u32(0xFFFFFFFFu);  // quality: the default
        w_.u32(0);            // sample size: frames vary in principle
        if (odml) {  // 16-bit rectangle (the 56-byte form)
            w_.u16(0), w_.u16(0);
            w_.u16(uint16_t(std::min<uint32_t>(form.width, 0x7FFF)));
            w_.u16(uint16_t(std::min<uint32_t>(form.height, 0x7FFF)));
        } else {  // 32-bit rectangle (the 64-byte form)
            w_.u32(0), w_.u32(0), w_.u32(form.width), w_.u32(form.height);
        }
        w_.close(h);
    }
    {  // stream format: the bitmap header and, for grey frames, a grey palette
        const uint64_t h = w_.open(kStrf);
        w_.u32(kBitmapHeader);
        w_.u32(form.width);
        w_.u32(form.height);  // positive: bottom line first
        w_.u16(1);
        w_.u16(uint16_t(form.bitcount));
        w_.u32(0);  // uncompressed
        w_.u32(uint32_t(std::min<uint64_t>(form.frame_bytes, kU32Max)));
        w_.u32(0), w_.u32(0);
        w_.u32(grey ? 256 : 0);
        w_.u32(0);
        if (grey) {
            unsigned char palette[256 * 4];
            for (uint32_t i = 0; i < 256; ++i) {
                palette[4 * i] = palette[4 * i + 1] = palette[4 * i + 2] = uint8_t(i);
                palette[4 * i + 3] = 0;
            }
            w_.bytes(palette, sizeof palette);
        }
        w_.close(h);
    }
    if (odml) {  // super index with its entries reserved and one zero entry more
        indx_ = w_.open(kIndx);
        w_.u16(4);
        w_.bytes("\0\0", 2);  // sub-type 0, type 0: an index of indexes
        w_.u32(0);            // entries in use, patched
        w_.u32(kFrame);
        w_.zeros(12);
        w_.zeros((capacity_ + 1) * 16);
        w_.close(indx_);
    }
    w_.close(strl);
    w_.close(hdrl);
    if (odml) {
        const uint64_t list = w_.open(kList, kOdml);
        const uint64_t h = w_.open(kDmlh);
        dmlh_ = w_.pos();
        w_.zeros(kDmlhBytes);
        w_.close(h);
        w_.close(list);
        // JUNK so that LIST movi starts on a multiple of 8,192 bytes.
        const uint64_t after = w_.pos() + 8;
        const uint64_t pad = (kMoviAlign - after % kMoviAlign) % kMoviAlign;
        const uint64_t junk = w_.open(kJunk);
        w_.zeros(pad);
        w_.close(junk);
    }
    movi_ = w_.open(kList, kMovi);
    chunk_.assign(size_t(8 + form.frame_bytes), 0);
    store_u32(chunk_.data(), kFrame, false);
    store_u32(chunk_.data() + 4, uint32_t(form.frame_bytes), false);
    started_ = true;
    return stream_.status();
}

// Whether one more frame fits the fields that will describe it.
int32_t Writer::check_room() const {
    if (total_ >= kU32Max) return MVERR_UNSUPPORTED;
    const uint64_t chunk = 8 + form_.frame_bytes;
    if (opt_.opendml) {
        if (form_.frame_bytes >= kNotKeyFrame) return MVERR_UNSUPPORTED;  // ix00 sizes hold 31 bits
        const bool new_list = data_.size() == per_list_;
        if (new_list && lists_ + 1 >= capacity_) return MVERR_UNSUPPORTED;
        return 0;
    }
    // Plain: the RIFF list, with idx1 and INFO still to come, below 4 GiB.
    const uint64_t end = w_.pos() + chunk + 8 + 16 * (data_.size() + 1) + info_bytes();
    return end - 8 > kU32Max ? MVERR_UNSUPPORTED : 0;
}

void Writer::open_list() {
    riff_ = w_.open(kRiff, kAvix);
    movi_ = w_.open(kList, kMovi);
}

// Standard index of the open list's frames, inside its movi list; its
// entries count from the movi list's header.
void Writer::write_ix00() {
    const uint64_t ix = w_.open(kIx00);
    w_.u16(2);
    w_.bytes("\0\1", 2);  // sub-type 0, type 1: an index of chunks
    w_.u32(uint32_t(data_.size()));
    w_.u32(kFrame);
    w_.u64(movi_);
    w_.u32(0);
    std::vector<unsigned char> entries(data_.size() * 8);
    for (size_t i = 0; i < data_.size(); ++i) {
        store_u32(entries.data() + 8 * i, uint32_t(data_[i] - movi_), false);
        store_u32(entries.data() + 8 * i + 4, uint32_t(form_.frame_bytes), false);
    }
    w_.bytes(entries.data(), entries.size());
    w_.close(ix);
    const uint64_t entry = indx_ + 32 + 16 * lists_;
    w_.patch_u64(entry, ix);
    w_.patch_u32(entry + 8, uint32_t(w_.pos() - ix));
    w_.patch_u32(entry + 12, uint32_t(data_.size()));
    w_.patch_u32(indx_ + 12, uint32_t(lists_ + 1));
}

// The AVI 1.0 index of the first list: offsets from the "movi" code.
void Writer::write_idx1() {
    const uint64_t idx = w_.open(kIdx1);
    std::vector<unsigned char> entries(data_.size() * 16);
    const uint64_t movi_code = movi_ + 8;
    for (size_t i = 0; i < data_.size(); ++i) {
        unsigned char* e = entries.data() + 16 * i;
        store_u32(e, kFrame, false);
        store_u32(e + 4, kKeyFrame, false);
        store_u32(e + 8, uint32_t(data_[i] - 8 - movi_code), false);
        store_u32(e + 12, uint32_t(form_.frame_bytes), false);
    }
    w_.bytes(entries.data(), entries.size());
    w_.close(idx);
}

void Writer::write_info() {
    if (info_bytes() == 0) return;
    const uint64_t list = w_.open(kList, kInfo);
    for (const InfoText& t : kInfoTexts)
        if (opt_.has_text[t.slot]) w_.chunk(t.id, opt_.texts[t.slot].c_str(), opt_.texts[t.slot].size() + 1);
    w_.close(list);
}

void Writer::close_list() {
    if (opt_.opendml) write_ix00();
    w_.close(movi_);
    if (lists_ == 0) {
        first_list_frames_ = data_.size();
        write_idx1();
        write_info();
    }
    w_.close(riff_);
    ++lists_;
    data_.clear();
}

int32_t Writer::add(mvabort* hook, mvimage* im) {
    FrameForm form;
    if (const int32_t rc = plan_frame(im, form); rc != 0) return rc;
    if (!started_) {
        if (const int32_t rc = start(form); rc != 0) return rc;
    } else if (!form.matches(form_)) {
        return MVERR_USAGE;
    }
    if (const int32_t rc = check_room(); rc != 0) return rc;
    if (const int32_t rc = pack_frame(hook, im, form_, chunk_.data() + 8); rc != 0) return rc;
    if (data_.size() == per_list_) {
        close_list();
        open_list();
    }
    data_.push_back(w_.pos() + 8);
    w_.bytes(chunk_.data(), chunk_.size());
    ++total_;
    return stream_.status();
}

int32_t Writer::finish() {
    if (!started_) return MVERR_USAGE;
    close_list();
    w_.patch_u32(avih_ + 16, uint32_t(opt_.opendml ? first_list_frames_ : total_));
    w_.patch_u32(strh_ + 32, uint32_t(total_));
    if (opt_.opendml) w_.patch_u32(dmlh_, uint32_t(total_));
    return stream_.close();
}

}  // namespace mvip::files::avi
