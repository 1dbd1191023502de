/* hello.c - make an image, run an operation, write a TIFF file. */
#include <mvip.h>
#include <stdio.h>

int main(int argc, char **argv) {
    static uint8_t pixels[240][320]; /* a bright disc on a dark ground */
    for (int y = 0; y < 240; ++y)
        for (int x = 0; x < 320; ++x)
            pixels[y][x] = (x - 160) * (x - 160) + (y - 120) * (y - 120) < 80 * 80 ? 200 : 40;
    const uint32_t dims[2] = {320, 240};
    const char *out = argc > 1 ? argv[1] : "hello.tif";
    mvimage im;
    int32_t rc = mvimage_memory(&im, pixels, dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0);
    if (rc == 0) rc = mvip8_3x3sobel(NULL, &im, &im, 3); /* its outline, in place */
    if (rc == 0) rc = mvio8_tifwrite(NULL, &im, NULL, out, 8, 0, 0, NULL);
    if (rc != 0) fprintf(stderr, "hello: %s (%d)\n", mverrnomesg(rc), (int)rc);
    else printf("hello: wrote %s\n", out);
    return rc != 0;
}
