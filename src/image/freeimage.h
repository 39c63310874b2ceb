// The general image library (FreeImage), loaded on first use.
//
// Loading it maps some thirty shared libraries and registers every codec, several milliseconds
// at each start. Only ordinary image files and the bitmap's library image need it, so nothing
// links it: the first caller loads it and every later one shares the loaded functions.
#pragma once

#include <FreeImage.h>

namespace tellurine {

struct FreeImageApi {
    decltype(&FreeImage_Initialise) Initialise;
    decltype(&FreeImage_GetFIFCount) GetFIFCount;
    decltype(&FreeImage_AllocateT) AllocateT;
    decltype(&FreeImage_Clone) Clone;
    decltype(&FreeImage_Unload) Unload;
    decltype(&FreeImage_GetImageType) GetImageType;
    decltype(&FreeImage_GetBPP) GetBPP;
    decltype(&FreeImage_GetWidth) GetWidth;
    decltype(&FreeImage_GetHeight) GetHeight;
    decltype(&FreeImage_GetPitch) GetPitch;
    decltype(&FreeImage_GetPalette) GetPalette;
    decltype(&FreeImage_GetColorsUsed) GetColorsUsed;
    decltype(&FreeImage_GetScanLine) GetScanLine;
    decltype(&FreeImage_GetDotsPerMeterX) GetDotsPerMeterX;
    decltype(&FreeImage_GetDotsPerMeterY) GetDotsPerMeterY;
    decltype(&FreeImage_SetDotsPerMeterX) SetDotsPerMeterX;
    decltype(&FreeImage_SetDotsPerMeterY) SetDotsPerMeterY;
    decltype(&FreeImage_IsTransparent) IsTransparent;
    decltype(&FreeImage_HasPixels) HasPixels;
    decltype(&FreeImage_ConvertTo24Bits) ConvertTo24Bits;
    decltype(&FreeImage_ConvertTo32Bits) ConvertTo32Bits;
    decltype(&FreeImage_OpenMemory) OpenMemory;
    decltype(&FreeImage_CloseMemory) CloseMemory;
    decltype(&FreeImage_AcquireMemory) AcquireMemory;
    decltype(&FreeImage_GetFileTypeFromMemory) GetFileTypeFromMemory;
    decltype(&FreeImage_FIFSupportsReading) FIFSupportsReading;
    decltype(&FreeImage_LoadFromMemory) LoadFromMemory;
    decltype(&FreeImage_SaveToMemory) SaveToMemory;
};

// The loaded library's functions, or nullptr when it cannot be loaded on this machine. Loads it
// on the first call; safe to call from several threads.
const FreeImageApi* GetFreeImage();

// An owned FreeImage bitmap: the bitmap's full-colour copy in the library's own representation.
// Copies clone the bitmap; an empty LibraryBitmap holds nothing (and needs no library).
class LibraryBitmap {
public:
    LibraryBitmap() = default;
    explicit LibraryBitmap(FIBITMAP* bitmap) : bitmap_(bitmap) {}
    ~LibraryBitmap() { Reset(); }
    LibraryBitmap(const LibraryBitmap& other);
    LibraryBitmap& operator=(const LibraryBitmap& other);
    LibraryBitmap(LibraryBitmap&& other) noexcept : bitmap_(other.bitmap_) { other.bitmap_ = nullptr; }
    LibraryBitmap& operator=(LibraryBitmap&& other) noexcept;

    [[nodiscard]] FIBITMAP* Get() const { return bitmap_; }
    [[nodiscard]] bool IsValid() const { return bitmap_ != nullptr; }
    // Takes ownership of `bitmap`, freeing the one held.
    void Reset(FIBITMAP* bitmap = nullptr);

private:
    FIBITMAP* bitmap_ = nullptr;
};

}  // namespace tellurine
