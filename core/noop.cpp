// Slots that move nothing: the null image's, a failed window's and the
// idle state's.
#include "core/record.hpp"

namespace mvip::noop {

uint32_t io(mvimage*, uint32_t, void*, uint32_t, int32_t, int32_t) { return 0; }
int32_t wait(mvimage*) { return 1; }
int32_t set(mvimage*, uint32_t, uint32_t, uint32_t) { return 0; }
uint32_t len(mvimage*, uint32_t, int32_t, int32_t) { return 0; }
int32_t bxtp(mvimage*, int32_t, mvbxtentry*, uint32_t) { return 0; }
uint32_t bxta(mvimage*, int32_t, void*, mvbxtentry*, uint32_t, int32_t) { return 0; }
int32_t imapset(mvimage*, uint32_t, uint32_t, uint32_t) { return MVERR_UNSUPPORTED; }
int32_t imap(mvimage*, mvmapdesc* d, int32_t, int32_t) {
    if (d) d->runs = 0;
    return 0;
}
int32_t imapr(mvimage*, mvmapdesc* d) {
    if (d) d->runs = 0;
    return 0;
}

uint32_t io3(mvimage3*, uint32_t, void*, uint32_t, int32_t, int32_t, int32_t) { return 0; }
int32_t wait3(mvimage3*) { return 1; }
int32_t set3(mvimage3*, uint32_t, uint32_t, uint32_t) { return 0; }
uint32_t len3(mvimage3*, uint32_t, int32_t, int32_t, int32_t) { return 0; }
int32_t bxtp3(mvimage3*, int32_t, mvbxtentry*, uint32_t) { return 0; }
uint32_t bxta3(mvimage3*, int32_t, void*, mvbxtentry*, uint32_t, int32_t) { return 0; }
int32_t imapset3(mvimage3*, uint32_t, uint32_t, uint32_t) { return MVERR_UNSUPPORTED; }
int32_t imap3(mvimage3*, mvmapdesc* d, int32_t, int32_t, int32_t) {
    if (d) d->runs = 0;
    return 0;
}
int32_t imapr3(mvimage3*, mvmapdesc* d) {
    if (d) d->runs = 0;
    return 0;
}

}  // namespace mvip::noop

namespace mvip {

void set_noop_slots(mvimage* im) {
    im->ioread = noop::io;
    im->iorite = noop::io;
    im->iowait = noop::wait;
    im->ioset = noop::set;
    im->iolen = noop::len;
    im->bxts = noop::set;
    im->bxtp = noop::bxtp;
    im->bxta = noop::bxta;
    im->bxtw = noop::wait;
    im->imapset = noop::imapset;
    im->imap = noop::imap;
    im->imapr = noop::imapr;
}

void set_noop_slots3(mvimage3* im) {
    im->ioread = noop::io3;
    im->iorite = noop::io3;
    im->iowait = noop::wait3;
    im->ioset = noop::set3;
    im->iolen = noop::len3;
    im->bxts = noop::set3;
    im->bxtp = noop::bxtp3;
    im->bxta = noop::bxta3;
    im->bxtw = noop::wait3;
    im->imapset = noop::imapset3;
    im->imap = noop::imap3;
    im->imapr = noop::imapr3;
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
