// Slots that move nothing: the null image's, which every kind installs for
// a failed window, in its idle state and wherever it has nothing to do.
// They never touch the record.
#include "core/record.hpp"

extern "C" {

MVIP_API uint32_t mvimnull2_ioread(mvimage*, uint32_t, void*, uint32_t, int32_t, int32_t) { return 0; }
MVIP_API uint32_t mvimnull2_iorite(mvimage*, uint32_t, void*, uint32_t, int32_t, int32_t) { return 0; }
MVIP_API int32_t mvimnull2_iowait(mvimage*) { return 1; }
MVIP_API int32_t mvimnull2_ioset(mvimage*, uint32_t, uint32_t, uint32_t) { return 0; }
MVIP_API uint32_t mvimnull2_iolen(mvimage*, uint32_t, int32_t, int32_t) { return 0; }
MVIP_API int32_t mvimnull2_bxts(mvimage*, uint32_t, uint32_t, uint32_t) { return 0; }
MVIP_API int32_t mvimnull2_bxtp(mvimage*, int32_t, mvbxtentry*, uint32_t) { return 0; }
MVIP_API uint32_t mvimnull2_bxta(mvimage*, int32_t, void*, mvbxtentry*, uint32_t, int32_t) { return 0; }
MVIP_API int32_t mvimnull2_bxtw(mvimage*) { return 1; }
MVIP_API int32_t mvimnull2_imapset(mvimage*, uint32_t, uint32_t, uint32_t) { return MVERR_UNSUPPORTED; }
MVIP_API int32_t mvimnull2_imap(mvimage*, mvmapdesc* d, int32_t, int32_t) {
    if (d) d->runs = 0;
    return 0;
}
MVIP_API int32_t mvimnull2_imapr(mvimage*, mvmapdesc* d) {
    if (d) d->runs = 0;
    return 0;
}

MVIP_API uint32_t mvimnull3_ioread(mvimage3*, uint32_t, void*, uint32_t, int32_t, int32_t, int32_t) {
    return 0;
}
MVIP_API uint32_t mvimnull3_iorite(mvimage3*, uint32_t, void*, uint32_t, int32_t, int32_t, int32_t) {
    return 0;
}
MVIP_API int32_t mvimnull3_iowait(mvimage3*) { return 1; }
MVIP_API int32_t mvimnull3_ioset(mvimage3*, uint32_t, uint32_t, uint32_t) { return 0; }
MVIP_API uint32_t mvimnull3_iolen(mvimage3*, uint32_t, int32_t, int32_t, int32_t) { return 0; }
MVIP_API int32_t mvimnull3_bxts(mvimage3*, uint32_t, uint32_t, uint32_t) { return 0; }
MVIP_API int32_t mvimnull3_bxtp(mvimage3*, int32_t, mvbxtentry*, uint32_t) { return 0; }
MVIP_API uint32_t mvimnull3_bxta(mvimage3*, int32_t, void*, mvbxtentry*, uint32_t, int32_t) { return 0; }
MVIP_API int32_t mvimnull3_bxtw(mvimage3*) { return 1; }
MVIP_API int32_t mvimnull3_imapset(mvimage3*, uint32_t, uint32_t, uint32_t) { return MVERR_UNSUPPORTED; }
MVIP_API int32_t mvimnull3_imap(mvimage3*, mvmapdesc* d, int32_t, int32_t, int32_t) {
    if (d) d->runs = 0;
    return 0;
}
MVIP_API int32_t mvimnull3_imapr(mvimage3*, mvmapdesc* d) {
    if (d) d->runs = 0;
    return 0;
}

}  // extern "C"

namespace mvip {

void set_noop_slots(mvimage* im) {
    im->ioread = noop::ioread;
    im->iorite = noop::iorite;
    im->iowait = noop::iowait;
    im->ioset = noop::ioset;
    im->iolen = noop::iolen;
    im->bxts = noop::bxts;
    im->bxtp = noop::bxtp;
    im->bxta = noop::bxta;
    im->bxtw = noop::bxtw;
    im->imapset = noop::imapset;
    im->imap = noop::imap;
    im->imapr = noop::imapr;
}

void set_noop_slots3(mvimage3* im) {
    im->ioread = mvimnull3_ioread;
    im->iorite = mvimnull3_iorite;
    im->iowait = mvimnull3_iowait;
    im->ioset = mvimnull3_ioset;
    im->iolen = mvimnull3_iolen;
    im->bxts = mvimnull3_bxts;
    im->bxtp = mvimnull3_bxtp;
    im->bxta = mvimnull3_bxta;
    im->bxtw = mvimnull3_bxtw;
    im->imapset = mvimnull3_imapset;
    im->imap = mvimnull3_imap;
    im->imapr = mvimnull3_imapr;
}

void set_idle_slots(mvimage* im, mvslot_set ioset, mvslot_set bxts, mvslot_set imapset) {
    set_noop_slots(im);
    im->ioset = ioset;
    im->bxts = bxts;
    im->imapset = imapset;
}

void set_idle_slots3(mvimage3* im, mvslot3_set ioset, mvslot3_set bxts, mvslot3_set imapset) {
    set_noop_slots3(im);
    im->ioset = ioset;
    im->bxts = bxts;
    im->imapset = imapset;
}

uint64_t image_sizing(const mvimage* im, uint64_t requested) { return im ? requested : 0; }
uint64_t image3_sizing(const mvimage3* im, uint64_t requested) { return im ? requested : 0; }

}  // namespace mvip
