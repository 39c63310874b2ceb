#include "image/freeimage.h"

#include <dlfcn.h>

#include <mutex>

#include "image/shared_library.h"

namespace tellurine {

namespace {

const FreeImageApi* Load() {
    void* library = nullptr;
    for (const char* name : {"libfreeimage.so.3", "libfreeimage.so"}) {
        library = OpenSharedLibrary(name);
        if (library != nullptr) break;
    }
    if (library == nullptr) return nullptr;
    static FreeImageApi api;
    const bool ok = ResolveFunction(library, "FreeImage_Initialise", api.Initialise) &&
                    ResolveFunction(library, "FreeImage_GetFIFCount", api.GetFIFCount) &&
                    ResolveFunction(library, "FreeImage_AllocateT", api.AllocateT) &&
                    ResolveFunction(library, "FreeImage_Clone", api.Clone) &&
                    ResolveFunction(library, "FreeImage_Unload", api.Unload) &&
                    ResolveFunction(library, "FreeImage_GetImageType", api.GetImageType) &&
                    ResolveFunction(library, "FreeImage_GetBPP", api.GetBPP) &&
                    ResolveFunction(library, "FreeImage_GetWidth", api.GetWidth) &&
                    ResolveFunction(library, "FreeImage_GetHeight", api.GetHeight) &&
                    ResolveFunction(library, "FreeImage_GetPitch", api.GetPitch) &&
                    ResolveFunction(library, "FreeImage_GetPalette", api.GetPalette) &&
                    ResolveFunction(library, "FreeImage_GetColorsUsed", api.GetColorsUsed) &&
                    ResolveFunction(library, "FreeImage_GetScanLine", api.GetScanLine) &&
                    ResolveFunction(library, "FreeImage_GetDotsPerMeterX", api.GetDotsPerMeterX) &&
                    ResolveFunction(library, "FreeImage_GetDotsPerMeterY", api.GetDotsPerMeterY) &&
                    ResolveFunction(library, "FreeImage_SetDotsPerMeterX", api.SetDotsPerMeterX) &&
                    ResolveFunction(library, "FreeImage_SetDotsPerMeterY", api.SetDotsPerMeterY) &&
                    ResolveFunction(library, "FreeImage_IsTransparent", api.IsTransparent) &&
                    ResolveFunction(library, "FreeImage_HasPixels", api.HasPixels) &&
                    ResolveFunction(library, "FreeImage_ConvertTo24Bits", api.ConvertTo24Bits) &&
                    ResolveFunction(library, "FreeImage_ConvertTo32Bits", api.ConvertTo32Bits) &&
                    ResolveFunction(library, "FreeImage_OpenMemory", api.OpenMemory) &&
                    ResolveFunction(library, "FreeImage_CloseMemory", api.CloseMemory) &&
                    ResolveFunction(library, "FreeImage_AcquireMemory", api.AcquireMemory) &&
                    ResolveFunction(library, "FreeImage_GetFileTypeFromMemory", api.GetFileTypeFromMemory) &&
                    ResolveFunction(library, "FreeImage_FIFSupportsReading", api.FIFSupportsReading) &&
                    ResolveFunction(library, "FreeImage_LoadFromMemory", api.LoadFromMemory) &&
                    ResolveFunction(library, "FreeImage_SaveToMemory", api.SaveToMemory);
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
