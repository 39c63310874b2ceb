// Libraries loaded on first use rather than linked (the image library, the SVG renderer): their
// functions are looked up by name in the library dlopen opened.
#pragma once

#include <dlfcn.h>
#include <sys/auxv.h>

namespace tellurine {

// Opens a shared library for the life of the process; null when it is not installed, and in a
// program linked statically (one started without the dynamic loader, whose address the kernel
// passes as AT_BASE): a library loaded into such a program would bring a second C library, one
// that need not even be the version the program was built with. The thumbnailer is linked so, to
// start faster, and does without the libraries.
inline void* OpenSharedLibrary(const char* name) {
    return getauxval(AT_BASE) == 0 ? nullptr : dlopen(name, RTLD_NOW | RTLD_LOCAL);
}

// Points `out` at the function `name` of `library`; false when the library has none.
template <typename Fn>
bool ResolveFunction(void* library, const char* name, Fn& out) {
    out = reinterpret_cast<Fn>(dlsym(library, name));
    return out != nullptr;
}

}  // namespace tellurine
