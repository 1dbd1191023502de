// The "avi" probe of mvio8_fileinfo: size, frame count (the frames the
// indexes list), rate and INFO texts of the first video stream.
#include "core/record.hpp"
#include "files/avi/movie.hpp"
#include "files/fileinfo.hpp"

#include <cstdlib>
#include <cstring>

namespace mvip::files {

int32_t avi_probe(const char* name, mvfileinfo* info, uint32_t /*mode*/) {
    Stream s;
    if (const int32_t rc = s.open(name, "rb"); rc != 0) return rc;
    avi::Movie m;
    if (const int32_t rc = avi::read_movie(s, m); rc != 0) return rc;
    mvpixfmt fmt{};
    mvpixfmt_set(&fmt, MVTYPE_U8, 8, m.pixies(), m.pixies() == 1 ? MVCS_GREY : MVCS_BGR);
    const uint64_t frames = m.frame_pos.size();
    fill_head(info, m.width, m.height, uint32_t(frames > 0x7FFFFFFF ? 0x7FFFFFFF : frames), fmt, "avi");
    mvfileinfo_avi& a = info->area.avi;
    a.scale = m.scale;
    a.rate = m.rate;
    a.opendml = m.opendml ? 1 : 0;
    a.rifflists = m.riff_lists;
    a.compression = m.compression;
    a.bitcount = m.bitcount;
    a.headerframes = m.header_frames;
    a.supported = m.decodable() ? 1 : 0;
    for (int i = 0; i < 4; ++i) {
        if (!m.has_text[i]) continue;
        char* copy = static_cast<char*>(std::malloc(m.texts[i].size() + 1));
        if (copy == nullptr) return MVERR_MEMORY;
        std::memcpy(copy, m.texts[i].c_str(), m.texts[i].size() + 1);
        info->texts[i] = copy;
    }
    return 0;
}

}  // namespace mvip::files
