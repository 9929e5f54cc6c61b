/* Loading the module: arguments are its file, another file of the same and a library that is no module. */
#include <stdio.h>
#include <string.h>
#include <vel.h>

static int failures;

static void expect(vel_result expected, vel_result result, const char* what) {
    if (result == expected) return;
    ++failures;
    printf("%s: %s, not %s (%s)\n", what, vel_result_name(result), vel_result_name(expected), vel_last_error());
}

int main(int count, char** arguments) {
    if (count != 4) return 2;
    expect(VEL_ERROR_MODULE, vel_open("no-such-folder/VELMaths.so"), "a file that is not there");
    if (!strstr(vel_last_error(), "no-such-folder/VELMaths.so")) {
        ++failures;
        printf("the error does not name the file: %s\n", vel_last_error());
    }
    expect(VEL_ERROR_MODULE, vel_open(arguments[3]), "a library that is no module");
    expect(VEL_OK, vel_open(arguments[1]), "the module, after failures");
    expect(VEL_OK, vel_open(arguments[1]), "the module again");
    expect(VEL_OK, vel_open(NULL), "whichever is loaded");
    expect(VEL_ERROR_ARGUMENT, vel_open(arguments[2]), "another file");
    expect(VEL_OK, vel_open(NULL), "whichever is loaded, after another was refused");
    return failures != 0;
}
