// Slots shared by the views that show their parent's pixels at the same
// places, offset only by the view's window (type and colour converters,
// colour slices): coordinate translation, scattered transfers, mapping,
// inquiries and window setting, all forwarded to the parent.  Every such
// view's private state begins with a ViewHead.
#pragma once

#include "views/view.hpp"

namespace mvip::view {

mvimage* head_parent(mvimage* v);
ViewHead& head_of(mvimage* v);

// Window-relative (x, y) in the parent's window coordinates.
mvpoint offset_to_parent(mvimage* v, uint32_t x, uint32_t y);
bool starts_inside(const mvimage* v, int32_t x, int32_t y);

// Runs of the current access (head.run_mode, head.sel_count) handed to the
// parent unchanged, cut at line ends unless the view shares the parent's
// window; and their length.
uint32_t offset_iolen(mvimage* v, uint32_t count, int32_t x, int32_t y);
template <bool Write>
uint32_t offset_forward_io(mvimage* v, uint32_t flags, void* buffer, uint32_t count, int32_t x,
                           int32_t y);
extern template uint32_t offset_forward_io<false>(mvimage*, uint32_t, void*, uint32_t, int32_t, int32_t);
extern template uint32_t offset_forward_io<true>(mvimage*, uint32_t, void*, uint32_t, int32_t, int32_t);

// Scattered transfers: entries translated (outside ones to (-1, -1)) and
// handed to the parent.
int32_t offset_bxtp(mvimage* v, int32_t operation, mvbxtentry* list, uint32_t n);
uint32_t offset_bxta(mvimage* v, int32_t operation, void* buffer, mvbxtentry* list, uint32_t n,
                     int32_t code);
int32_t forward_bxtw(mvimage* v);

// Mapping forwarded to the parent: the grant, the translated runs (cut to
// the view's window) and their release.  A grant installs the kind's own
// routines for these two (which call offset_imap and forward_imapr).
int32_t forward_imapset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask, mvslot_imap imap,
                        mvslot_imapr imapr);
int32_t offset_imap(mvimage* v, mvmapdesc* desc, int32_t x, int32_t y);
int32_t forward_imapr(mvimage* v, mvmapdesc* desc);

// Inquiries: the parent's answer, 'b', 'i', 'm' with one more layer.
uint32_t forward_aeiou(mvimage* v, uint32_t code, intptr_t arg1, intptr_t arg2);

// Waits for the parent's pending transfers.
int32_t forward_iowait(mvimage* v);

// xwind: 's' sets the view's window (and the parent's when following) and
// then calls install_idle; 'w' and 'i' answer from the view's own fields.
mvywindow* follow_xwind(mvimage* v, mvywindow* w, int32_t code, void (*install_idle)(mvimage*));

}  // namespace mvip::view
