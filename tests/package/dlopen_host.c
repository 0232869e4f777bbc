/* A host that finds the library at run time: renders a scene directory.
 * usage: host LIBRARY SCENE
 * SPDX-License-Identifier: MIT
 */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

int main(int argc, char** argv) {
    void (*go)(const char*);
    void* library = argc == 3 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
    void* symbol = library == NULL ? NULL : dlsym(library, "mhGo");
    if (symbol == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    memcpy(&go, &symbol, sizeof go); /* C99 has no cast between the two */
    go(argv[2]);
    return 0;
}
