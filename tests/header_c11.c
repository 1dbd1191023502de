/*
 * The public header must be usable from strict C11.  This program is built
 * with -std=c11 -pedantic -Wall -Wextra -Werror and walks one small memory
 * image through the access protocol using only C.
 */
#include "mvip.h"

#include <stdio.h>
#include <string.h>

static int fail(const char *what)
{
    printf("header check failed: %s\n", what);
    return 1;
}

int main(void)
{
    /* 4 x 3 unsigned 8-bit grey image, lines back to back. */
    unsigned char pixels[12];
    unsigned char line[4] = {0, 0, 0, 0};
    const uint32_t dims[2] = {4u, 3u};
    mvimage im;
    mvywindow win;
    mvywindow got;
    const char *msg;
    uint32_t moved;
    int i;

    for (i = 0; i < 12; ++i)
        pixels[i] = (unsigned char)(10 * i);

    if (mvimage_memory(&im, pixels, dims, 0, MVTYPE_U8, 8u, 1u, MVCS_GREY, 0u) != 0)
        return fail("mvimage_memory");
    if (memcmp(im.kind, "MVIMMEM\0", 8) != 0)
        return fail("kind tag");

    /* Window: columns 1..3 of lines 1..2. */
    win.nw.x = 1;
    win.nw.y = 1;
    win.se.x = 4;
    win.se.y = 3;
    if (im.xwind(&im, &win, 's') != &im.wind)
        return fail("xwind 's'");
    if (im.xwind(&im, &got, 'w') != &im.wind || got.nw.x != 1 || got.se.y != 3)
        return fail("xwind 'w'");

    if (im.ioset(&im, 0u, MVTYPE_U8 | MVREQ_LOW, 1u) < 0)
        return fail("ioset");
    if (im.iolen(&im, 100u, 0, 1) != 3u)
        return fail("iolen");

    /* Window line 1 is image line 2: pixels 9, 10, 11. */
    moved = im.ioread(&im, 0u, line, 4u, 0, 1);
    if (moved != 3u || line[0] != 90 || line[1] != 100 || line[2] != 110 || line[3] != 0)
        return fail("ioread");
    if (im.iowait(&im) != 1)
        return fail("iowait");

    msg = mverrnomesg(-2);
    if (msg == NULL || strcmp(msg, "Memory heap allocation error") != 0)
        return fail("mverrnomesg(-2)");
    if (mverrnomesg(0) != NULL)
        return fail("mverrnomesg(0)");

    printf("header OK\n");
    return 0;
}
