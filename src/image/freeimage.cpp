#include "image/freeimage.h"

#include <dlfcn.h>

#include <mutex>

namespace tellurine {

namespace {

template <typename Fn>
bool Resolve(void* library, const char* name, Fn& out) {
    out = reinterpret_cast<Fn>(dlsym(library, name));
    return out != nullptr;
}

const FreeImageApi* Load() {
    void* library = nullptr;
    for (const char* name : {"libfreeimage.so.3", "libfreeimage.so"}) {
        library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
        if (library != nullptr) break;
    }
    if (library == nullptr) return nullptr;
    static FreeImageApi api;
    const bool ok = Resolve(library, "FreeImage_Initialise", api.Initialise) &&
                    Resolve(library, "FreeImage_GetFIFCount", api.GetFIFCount) &&
                    Resolve(library, "FreeImage_AllocateT", api.AllocateT) &&
                    Resolve(library, "FreeImage_Clone", api.Clone) &&
                    Resolve(library, "FreeImage_Unload", api.Unload) &&
                    Resolve(library, "FreeImage_GetImageType", api.GetImageType) &&
                    Resolve(library, "FreeImage_GetBPP", api.GetBPP) &&
                    Resolve(library, "FreeImage_GetWidth", api.GetWidth) &&
                    Resolve(library, "FreeImage_GetHeight", api.GetHeight) &&
                    Resolve(library, "FreeImage_GetPitch", api.GetPitch) &&
                    Resolve(library, "FreeImage_GetPalette", api.GetPalette) &&
                    Resolve(library, "FreeImage_GetColorsUsed", api.GetColorsUsed) &&
                    Resolve(library, "FreeImage_GetScanLine", api.GetScanLine) &&
                    Resolve(library, "FreeImage_GetDotsPerMeterX", api.GetDotsPerMeterX) &&
                    Resolve(library, "FreeImage_GetDotsPerMeterY", api.GetDotsPerMeterY) &&
                    Resolve(library, "FreeImage_SetDotsPerMeterX", api.SetDotsPerMeterX) &&
                    Resolve(library, "FreeImage_SetDotsPerMeterY", api.SetDotsPerMeterY) &&
                    Resolve(library, "FreeImage_IsTransparent", api.IsTransparent) &&
                    Resolve(library, "FreeImage_HasPixels", api.HasPixels) &&
                    Resolve(library, "FreeImage_ConvertTo24Bits", api.ConvertTo24Bits) &&
                    Resolve(library, "FreeImage_ConvertTo32Bits", api.ConvertTo32Bits) &&
                    Resolve(library, "FreeImage_OpenMemory", api.OpenMemory) &&
                    Resolve(library, "FreeImage_CloseMemory", api.CloseMemory) &&
                    Resolve(library, "FreeImage_AcquireMemory", api.AcquireMemory) &&
                    Resolve(library, "FreeImage_GetFileTypeFromMemory", api.GetFileTypeFromMemory) &&
                    Resolve(library, "FreeImage_FIFSupportsReading", api.FIFSupportsReading) &&
                    Resolve(library, "FreeImage_LoadFromMemory", api.LoadFromMemory) &&
                    Resolve(library, "FreeImage_SaveToMemory", api.SaveToMemory);
    if (!ok) {
        dlclose(library);
        return nullptr;
    }
    // A shared build registers its codecs when it is loaded; a build that does not gets them here.
    if (api.GetFIFCount() == 0) api.Initialise(FALSE);
    return &api;  // the library stays loaded for the life of the process
}

}  // namespace

const FreeImageApi* GetFreeImage() {
    static const FreeImageApi* const api = Load();
    return api;
}

LibraryBitmap::LibraryBitmap(const LibraryBitmap& other) {
    if (other.bitmap_ != nullptr) bitmap_ = GetFreeImage()->Clone(other.bitmap_);
}

LibraryBitmap& LibraryBitmap::operator=(const LibraryBitmap& other) {
    if (this != &other) Reset(other.bitmap_ != nullptr ? GetFreeImage()->Clone(other.bitmap_) : nullptr);
    return *this;
}

LibraryBitmap& LibraryBitmap::operator=(LibraryBitmap&& other) noexcept {
    if (this != &other) {
        Reset(other.bitmap_);
        other.bitmap_ = nullptr;
    }
    return *this;
}

void LibraryBitmap::Reset(FIBITMAP* bitmap) {
    // A bitmap exists only if the library was loaded to make it.
    if (bitmap_ != nullptr) GetFreeImage()->Unload(bitmap_);
    bitmap_ = bitmap;
}

}  // namespace tellurine
