/* VELMaths for C and for every language that can call C.
 *
 * Results. Every function returns VEL_OK (0) or one of the negative codes below; functions that cannot fail return
 * what they are asked for. A failing function leaves its output arguments null or 0 and sets the calling thread's
 * vel_last_error text. Null pointers where one is needed give VEL_ERROR_ARGUMENT.
 *
 * Ownership. Images and mappings are counted: create, wrap, load, clone and run give the caller one reference, which
 * vel_image_release or vel_mapping_release ends. Memory of vel_image_save_memory is freed by vel_free. Texts belong to
 * the library.
 *
 * Threads. Any function may be called from any thread. Reference counts are safe. One image is changed by one thread at
 * a time; several threads may read it meanwhile only when none changes it. Different images need no care.
 *
 * Texts are UTF-8. Structures with a `size` field are versioned: set it to sizeof, or let the _init function do so.
 */
#ifndef VEL_H
#define VEL_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define VEL_API __attribute__((visibility("default")))
#else
#define VEL_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* --- Versions and results ----------------------------------------------------------------------------------------- */

/* Major version in the high 16 bits: another one is another interface. The minor one counts additions. */
#define VEL_ABI_VERSION UINT32_C(0x00000001)

typedef int32_t vel_result;
enum {
    VEL_OK = 0,
    VEL_ERROR_NOT_FOUND = -1,   /* no such file, module, operation or name */
    VEL_ERROR_ACCESS = -2,      /* reading or writing failed in the operating system */
    VEL_ERROR_EXISTS = -3,      /* the file is there already and overwriting was not asked for */
    VEL_ERROR_UNSUPPORTED = -4, /* well-formed, but not to be held or saved without a conversion */
    VEL_ERROR_DAMAGED = -5,     /* not a picture, truncated or corrupted */
    VEL_ERROR_LIMIT = -6,       /* larger than the limits allow */
    VEL_ERROR_ARGUMENT = -7,    /* a value, shape or name that makes no sense here */
    VEL_ERROR_MEMORY = -8,      /* no memory */
    VEL_ERROR_MODULE = -9,      /* VELMaths.so cannot be loaded, or lacks a component */
    VEL_ERROR_OPERATION = -10,  /* the operation failed; vel_last_code has its own result code */
    VEL_ERROR_CALLBACK = -11,   /* a mapping's function asked to stop */
    VEL_ERROR_INTERNAL = -12    /* anything else; the text says what */
};

/* VEL_ABI_VERSION of the library that is loaded. */
VEL_API uint32_t vel_abi_version(void);
/* "0.1.0" */
VEL_API const char* vel_version(void);
/* "VEL_ERROR_ARGUMENT" and so on; "unknown" for a number that is none. */
VEL_API const char* vel_result_name(vel_result result);
/* One line about the last failure of a function in this thread, empty before the first. A success leaves it as it is.
 * Valid until this thread's next failure. */
VEL_API const char* vel_last_error(void);
/* The result code of the last operation that this thread ran: 0 (S_OK) or positive for success, negative for failure,
 * such as -2147467259 (0x80004005, E_FAIL). */
VEL_API int32_t vel_last_code(void);
/* What a user should know of this thread's last successful run, a line each; empty when there is nothing. Valid until
 * this thread's next run. */
VEL_API const char* vel_last_notes(void);

/* Loads the module once for the process. Null: VELMaths.so is looked for beside this library and in the folder of the
 * installation. Every function that needs the module does this by itself; a program calls it only for a file of its
 * own, before the first run. VEL_ERROR_MODULE: it cannot be loaded. VEL_ERROR_ARGUMENT: another file is loaded. */
VEL_API vel_result vel_open(const char* path);

/* Ends memory that vel_image_save_memory gave. Null is allowed. */
VEL_API void vel_free(void* memory);

/* --- Images ------------------------------------------------------------------------------------------------------- */

/* Pixels by depth:  1: bit 7 first.  4: high nibble first.  8: one byte.  16: little-endian 5-6-5 words, blue lowest.
 * 24: blue, green, red.  32: blue, green, red, alpha (straight, 255 opaque), or signed integers with VEL_COLOUR_MONO.
 * Indexes of a palette, or greys without one, at 1, 4 and 8 bits. Row 0 is the top. */
typedef struct vel_image vel_image;

/* Colour-format codes. Usual: MONO without a palette and BGR with one at 1, 4 and 8 bits, BGR at 16 and 24, ARGB at 32,
 * MONO for integers. */
#define VEL_COLOUR_MONO UINT32_C(0x4F4E4F4D)
#define VEL_COLOUR_BGR UINT32_C(0x20524742)
#define VEL_COLOUR_ABGR UINT32_C(0x52474241)
#define VEL_COLOUR_ARGB UINT32_C(0x42475241)

typedef struct vel_colour {
    uint8_t red, green, blue;
    uint8_t reserved; /* kept in palettes, 0 elsewhere */
} vel_colour;

typedef struct vel_image_info {
    uint32_t size;            /* in: sizeof(vel_image_info) */
    uint32_t width;           /* pixels */
    uint32_t height;          /* rows */
    uint32_t bits_per_pixel;  /* 1, 4, 8, 16, 24, 32; 0 for an image in which nothing was created */
    uint32_t format;          /* VEL_COLOUR_... */
    uint32_t planes;          /* 1 */
    uint32_t palette_entries; /* 0: no palette */
    uint32_t wrapped;         /* 1: the pixels lie in the caller's memory */
    int64_t stride;           /* bytes from a row to the next; negative when row 0 is the last in memory */
    uint64_t row_bytes;       /* bytes of a row that hold pixels */
} vel_image_info;

/* A new image, every pixel 0, rows at multiples of 64 bytes. A width or height of 0 is allowed. ARGUMENT: a depth that
 * is none of the six, a size beyond 31 bits. MEMORY: too large. */
VEL_API vel_result vel_image_create(uint32_t width, uint32_t height, uint32_t bits_per_pixel, uint32_t format,
                                    vel_image** image);
/* An image over the caller's memory; nothing is copied or freed. `row0` is the first byte of the top row, `stride` the
 * bytes from a row to the next below it: any number, negative for bottom-up memory, larger than a row for a crop.
 * Bytes between the rows are not written. The memory outlives the image. When an operation has to give the image
 * another shape, the image leaves that memory as it is and has pixels of its own from then on (`wrapped` is 0). */
VEL_API vel_result vel_image_wrap(void* row0, int64_t stride, uint32_t width, uint32_t height, uint32_t bits_per_pixel,
                                  uint32_t format, vel_image** image);
/* A copy with pixels and palette of its own. */
VEL_API vel_result vel_image_clone(vel_image* image, vel_image** clone);
/* One reference more, one less. Null is allowed. */
VEL_API void vel_image_retain(vel_image* image);
VEL_API void vel_image_release(vel_image* image);

VEL_API vel_result vel_image_get_info(vel_image* image, vel_image_info* info);
/* First byte of row y, for reading and writing; the next call that changes the image's shape ends it. ARGUMENT: there
 * is no such row. */
VEL_API vel_result vel_image_row(vel_image* image, uint32_t y, uint8_t** row);
/* First byte of row 0 (null in an image without pixels) and the stride. */
VEL_API vel_result vel_image_pixels(vel_image* image, uint8_t** row0, int64_t* stride);

/* Copies at most `capacity` entries; `count` (may be null) becomes the number there are. */
VEL_API vel_result vel_image_get_palette(vel_image* image, vel_colour* entries, uint32_t capacity, uint32_t* count);
/* Replaces the palette; 0 entries remove it. ARGUMENT: more than 2^depth entries, or a depth above 8. */
VEL_API vel_result vel_image_set_palette(vel_image* image, const vel_colour* entries, uint32_t count);

/* --- Picture files ------------------------------------------------------------------------------------------------ */

/* Conversions that loading may make when no image can hold the picture as it is; nothing is converted unasked. */
enum {
    VEL_CONVERT_NONE = 0,
    VEL_CONVERT_WIDEN = 1,     /* to a greater depth, nothing is lost */
    VEL_CONVERT_EIGHT_BIT = 2, /* wide samples to 8 bits */
    VEL_CONVERT_RGB = 4,       /* CMYK, L*a*b* and others to 24 bits */
    VEL_CONVERT_ROUND = 8,     /* floats to 32-bit integers */
    VEL_CONVERT_ALL = 16       /* whatever it takes */
};

typedef struct vel_load_options {
    uint32_t size;                                  /* sizeof(vel_load_options) */
    uint32_t page;                                  /* which picture of a file with several, from 0 */
    uint32_t convert;                               /* VEL_CONVERT_... or-ed */
    uint32_t reserved;                              /* 0 */
    uint64_t max_pixels, max_bytes, max_file_bytes; /* larger pictures give VEL_ERROR_LIMIT */
} vel_load_options;

enum { VEL_ALPHA_BY_FORMAT = 0, VEL_ALPHA_KEEP = 1, VEL_ALPHA_DROP = 2 };
enum { VEL_ROWS_AS_IMAGE = 0, VEL_ROWS_TOP_DOWN = 1, VEL_ROWS_BOTTOM_UP = 2 };

typedef struct vel_save_options {
    uint32_t size;                /* sizeof(vel_save_options) */
    uint32_t overwrite;           /* 1: replace a file that is there */
    const char* format;           /* a name of vel_formats_json; null: by the file name's extension */
    const char* tiff_compression; /* "none", "lzw", "deflate", "packbits", "group4"; null: "lzw" */
    uint32_t sync;                /* 1: the file is on the disk before it gets its name */
    uint32_t rows;                /* VEL_ROWS_..., bmp */
    uint32_t alpha;               /* VEL_ALPHA_...: what the fourth byte of 32 bits is */
    uint32_t quality;             /* 1 to 100, jpeg and lossy webp */
    uint32_t lossless;            /* webp */
    uint32_t effort;              /* 0 (fast) to 9 (small), png and webp */
} vel_save_options;

/* Fill in `size` and the defaults; null options mean the same. */
VEL_API void vel_load_options_init(vel_load_options* options);
VEL_API void vel_save_options_init(vel_save_options* options);

VEL_API vel_result vel_image_load(const char* path, const vel_load_options* options, vel_image** image);
VEL_API vel_result vel_image_load_memory(const void* data, size_t bytes, const vel_load_options* options,
                                         vel_image** image);
/* The name holds the old content or all of the new one. */
VEL_API vel_result vel_image_save(vel_image* image, const char* path, const vel_save_options* options);
/* options->format is needed. `data` is freed by vel_free. */
VEL_API vel_result vel_image_save_memory(vel_image* image, const vel_save_options* options, void** data, size_t* bytes);
/* [{"name": "png", "description": ..., "extensions": ["png"], "library": ...}, ...]; valid as long as the library. */
VEL_API vel_result vel_formats_json(const char** json);

/* --- Mappings ----------------------------------------------------------------------------------------------------- */

/* A coordinate mapping of the caller, for the operations transform and transform-paste. */
typedef struct vel_mapping vel_mapping;

/* Replaces count positions (x[i], y[i]), in pixels, by what they map to. Not 0: stop; the run ends with
 * VEL_ERROR_CALLBACK. Called on the thread that runs the operation. */
typedef int32_t (*vel_mapping_function)(void* user, double* x, double* y, size_t count);

/* `batch` is how many positions one call gets: 1 asks for each point by itself; more asks ahead for the points to the
 * right in the same row, so the width of the walked image (the new one for transform, the source for transform-paste)
 * gives one call a row. The function must then be a pure function of the position; answers that nobody needs are
 * dropped. 1 to 65535. A mapping may serve several runs at once if the function can. */
VEL_API vel_result vel_mapping_create(vel_mapping_function function, void* user, uint32_t batch, vel_mapping** mapping);
VEL_API void vel_mapping_retain(vel_mapping* mapping);
VEL_API void vel_mapping_release(vel_mapping* mapping);

/* --- Operations --------------------------------------------------------------------------------------------------- */

typedef struct vel_size {
    int64_t width, height;
} vel_size;
typedef struct vel_point {
    double x, y;
} vel_point;

/* An image by the name that the operation gives it. A null image is one that is not given. */
typedef struct vel_image_argument {
    const char* name;
    vel_image* image;
} vel_image_argument;

/* What a vel_argument holds. */
enum {
    VEL_TEXT = 0,    /* any type in its text form, as the command line takes it: "1.5", "#ff8000", "640x480" */
    VEL_INTEGER = 1, /* also the number of an enumeration's choice, and a number where a float is wanted */
    VEL_FLOAT = 2,
    VEL_BOOLEAN = 3, /* integer, 0 or 1 */
    VEL_COLOUR = 4,
    VEL_SIZE = 5,
    VEL_POINT = 6,
    VEL_TABLE = 7,  /* 256 bytes */
    VEL_KERNEL = 8, /* side * side coefficients, row by row */
    VEL_MAPPING = 9,
    VEL_NOT_GIVEN = 10
};

/* A parameter by name. Hyphens and underscores are the same. Pointers are read during the call only. */
typedef struct vel_argument {
    const char* name;
    int32_t kind; /* VEL_TEXT ... */
    int32_t side; /* of a kernel */
    union {
        const char* text;
        int64_t integer;
        double real;
        vel_colour colour;
        vel_size size;
        vel_point point;
        const uint8_t* table;
        const int32_t* kernel;
        vel_mapping* mapping;
    } value;
} vel_argument;

/* Runs an operation by name or alias. What is left out takes its default.
 *   result  may be null; becomes a reference to the image that holds the result: a new image, or the one that was
 *           changed (an input or a destination), as the operation's "result" says; also the input itself
 *           where an operation that makes new images has nothing to do
 *   count   may be null; becomes what the operation counts, or -1 where it counts nothing
 * NOT_FOUND: no such operation. ARGUMENT: names, types, ranges or images do not fit. OPERATION: it answered a failure;
 * images that it changes in place may then be changed. */
VEL_API vel_result vel_run(const char* operation, const vel_image_argument* images, size_t image_count,
                           const vel_argument* arguments, size_t argument_count, vel_image** result, int64_t* count);
/* The same with the result in `out`, and no other image changed. `out` needs the result's width, height and depth
 * (ARGUMENT otherwise); its format code and palette become the result's. New pixels are computed straight into out's
 * memory when its rows follow each other without a gap (or are the library's own) and it overlaps no input; else they
 * are copied there. `out` may be the image that is changed in place.
 * After a failure out's pixels are undefined. */
VEL_API vel_result vel_run_into(const char* operation, const vel_image_argument* images, size_t image_count,
                                const vel_argument* arguments, size_t argument_count, vel_image* out, int64_t* count);

enum {
    VEL_ACTS = 0,
    VEL_LEAVES_ALONE = 1,   /* success without a change */
    VEL_REFUSES = 2,        /* VEL_ERROR_OPERATION, nothing written */
    VEL_ACTS_BUT_FAILS = 3, /* pixels are written although the operation's own code is a failure; VEL_OK */
    VEL_IMPOSSIBLE = 4      /* the images do not fit each other: VEL_ERROR_ARGUMENT */
};

/* What a run with these arguments would do, judged without running it. `note` (may be null) becomes a line for people,
 * valid until this thread's next vel_judge. */
VEL_API vel_result vel_judge(const char* operation, const vel_image_argument* images, size_t image_count,
                             const vel_argument* arguments, size_t argument_count, int32_t* verdict, const char** note);
/* {"version": ..., "operations": [...]}: names, images, parameters with ranges and defaults, rule cards, examples.
 * Valid as long as the library. */
VEL_API vel_result vel_operations_json(const char** json);

#ifdef __cplusplus
}
#endif

#endif
