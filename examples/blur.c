/* Blurs a picture file: vel_run by name, a typed function, and pixels of the caller's own memory.
 *
 *   cc -std=c11 examples/blur.c $(pkg-config --cflags --libs vel) -o blur
 *   ./blur photo.png blurred.png
 */
#include <stdio.h>

#include "vel_ops.h"

static int failed(const char* what) {
    fprintf(stderr, "blur: %s: %s\n", what, vel_last_error());
    return 1;
}

int main(int argc, char** argv) {
    if (argc != 3) return fprintf(stderr, "usage: blur IN OUT\n"), 2;

    vel_image *photo = NULL, *blurred = NULL;
    if (vel_image_load(argv[1], NULL, &photo)) return failed("loading");
    if (vel_op_gaussian_blur(photo, VEL_GAUSSIAN_BLUR_LEVEL_WIDEST, &blurred)) return failed("blurring");

    vel_save_options options;
    vel_save_options_init(&options);
    options.overwrite = 1;
    if (vel_image_save(blurred, argv[2], &options)) return failed("saving");
    vel_image_release(blurred);
    vel_image_release(photo);

    /* The same by name, on a picture in this program's memory that is stored from the bottom up. */
    uint8_t pixels[3][4] = {{0, 0, 0, 0}, {0, 16, 0, 0}, {0, 0, 0, 0}};
    vel_image *mine = NULL, *result = NULL;
    if (vel_image_wrap(pixels[2], -4, 4, 3, 8, VEL_COLOUR_MONO, &mine)) return failed("wrapping");
    const vel_image_argument input = {"input", mine};
    const vel_argument level = {.name = "level", .kind = VEL_TEXT, .value.text = "fine"};
    if (vel_run("gaussian-blur", &input, 1, &level, 1, &result, NULL)) return failed("blurring by name");
    for (uint32_t y = 0; y < 3; ++y) {
        uint8_t* row = NULL;
        if (vel_image_row(result, y, &row)) return failed("reading");
        printf("%d %d %d %d\n", row[0], row[1], row[2], row[3]);
    }
    vel_image_release(result);
    vel_image_release(mine);
    return 0;
}
