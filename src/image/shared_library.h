// Libraries loaded on first use rather than linked (the image library, the SVG renderer): their
// functions are looked up by name in the library dlopen opened.
#pragma once

#include <dlfcn.h>

namespace tellurine {

// Points `out` at the function `name` of `library`; false when the library has none.
template <typename Fn>
bool ResolveFunction(void* library, const char* name, Fn& out) {
    out = reinterpret_cast<Fn>(dlsym(library, name));
    return out != nullptr;
}

}  // namespace tellurine
