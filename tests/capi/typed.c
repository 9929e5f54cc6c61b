/* Every typed function does the same as the call by name, seen from plain C. */
#include <stdio.h>
#include <string.h>

#include "typed_test.h"

static double g_affine[6];

static int32_t map_affine(void* user, double* x, double* y, size_t count) {
    const double* m = user;
    for (size_t i = 0; i < count; ++i) {
        const double old_x = x[i], old_y = y[i];
        x[i] = m[0] * old_x + m[1] * old_y + m[2];
        y[i] = m[3] * old_x + m[4] * old_y + m[5];
    }
    return 0;
}

vel_mapping* test_mapping(const char* text) {
    static vel_mapping* mapping;
    const int numbers = sscanf(text, "affine:%lf,%lf,%lf,%lf,%lf,%lf", &g_affine[0], &g_affine[1], &g_affine[2],
                               &g_affine[3], &g_affine[4], &g_affine[5]);
    if (numbers != 6) fprintf(stderr, "no affine mapping: %s\n", text);
    if (!mapping) vel_mapping_create(map_affine, g_affine, 64, &mapping);
    return mapping;
}

static vel_image* picture(const char* operation, int bits, uint32_t seed) {
    const int integers = !strcmp(operation, "scale8") || !strcmp(operation, "kernel");
    vel_image* image = NULL;
    vel_image_create(300, 260, (uint32_t)bits,
                     integers     ? VEL_COLOUR_MONO
                     : bits == 24 ? VEL_COLOUR_BGR
                                  : VEL_COLOUR_ARGB,
                     &image);
    for (uint32_t y = 0; y < 260; ++y) {
        uint8_t* row = NULL;
        vel_image_row(image, y, &row);
        for (uint32_t x = 0; x < (uint32_t)bits / 8 * 300; ++x) row[x] = (uint8_t)(x * 37 + y * (101 + seed) + x * y);
    }
    return image;
}

static int same_pixels(vel_image* a, vel_image* b, int shape_only) {
    vel_image_info first = {.size = sizeof first}, second = {.size = sizeof second};
    if (vel_image_get_info(a, &first) || vel_image_get_info(b, &second)) return 0;
    if (first.width != second.width || first.height != second.height || first.format != second.format) return 0;
    if (first.bits_per_pixel != second.bits_per_pixel) return 0;
    for (uint32_t y = 0; y < first.height && !shape_only; ++y) {
        uint8_t *row = NULL, *other = NULL;
        if (vel_image_row(a, y, &row) || vel_image_row(b, y, &other)) return 0;
        if (memcmp(row, other, first.row_bytes)) return 0;
    }
    return 1;
}

static int check(const typed_test* test) {
    vel_image *typed[5] = {NULL}, *named[5] = {NULL}, *typed_result = NULL, *named_result = NULL;
    vel_image_argument images[5];
    vel_argument arguments[20];
    size_t image_count = 0, argument_count = 0;
    int64_t typed_count = -1, named_count = -1;
    for (; test->images[image_count]; ++image_count) {
        typed[image_count] = picture(test->name, test->bits, (uint32_t)image_count);
        named[image_count] = picture(test->name, test->bits, (uint32_t)image_count);
        images[image_count].name = test->images[image_count];
        images[image_count].image = named[image_count];
    }
    memset(arguments, 0, sizeof arguments);
    for (; test->arguments[2 * argument_count]; ++argument_count) {
        arguments[argument_count].name = test->arguments[2 * argument_count];
        arguments[argument_count].value.text = test->arguments[2 * argument_count + 1];
    }
    int good = test->run(typed, &typed_result, &typed_count) == VEL_OK;
    if (!good) fprintf(stderr, "%s, typed: %s\n", test->name, vel_last_error());
    if (vel_run(test->name, images, image_count, arguments, argument_count, &named_result, &named_count)) {
        fprintf(stderr, "%s, by name: %s\n", test->name, vel_last_error());
        good = 0;
    }
    if (good && typed_count != named_count) good = 0, fprintf(stderr, "%s: counts differ\n", test->name);
    for (size_t i = 0; i < image_count; ++i) {
        if (!same_pixels(typed[i], named[i], test->random)) good = 0, fprintf(stderr, "%s: image %zu\n", test->name, i);
        vel_image_release(typed[i]);
        vel_image_release(named[i]);
    }
    if (test->gives_image && good && !same_pixels(typed_result, named_result, test->random)) {
        good = 0;
        fprintf(stderr, "%s: results differ\n", test->name);
    }
    vel_image_release(typed_result);
    vel_image_release(named_result);
    return good;
}

int main(void) {
    size_t good = 0;
    for (size_t i = 0; i < typed_test_count; ++i) good += (size_t)check(&typed_tests[i]);
    printf("%zu of %zu operations\n", good, typed_test_count);
    return good == typed_test_count && good == 47 ? 0 : 1;
}
