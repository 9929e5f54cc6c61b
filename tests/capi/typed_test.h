/* What the generated test of the typed functions consists of: for each operation a call with its example's values, and
 * the same values as texts for the call by name. */
#ifndef TYPED_TEST_H
#define TYPED_TEST_H

#include "vel.h"

typedef struct typed_test {
    const char* name;
    vel_result (*run)(vel_image** images, vel_image** result, int64_t* count);
    const char* images[5];     /* names of the images that are needed, null behind the last */
    const char* arguments[41]; /* names and texts in turn, null behind the last */
    int bits;                  /* a depth that the operation acts on, 24 where it can be */
    int gives_image;
    int random;
} typed_test;

extern const typed_test typed_tests[];
extern const size_t typed_test_count;

/* A mapping that computes what "affine:a,b,c,d,e,f" or "identity" says; it lives until the program ends. */
vel_mapping* test_mapping(const char* text);

#endif
