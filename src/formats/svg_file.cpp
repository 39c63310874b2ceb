#include "formats/svg_file.h"

#include <cairo.h>
#include <dlfcn.h>
#include <librsvg/rsvg.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "image/dib_block.h"
#include "image/file_io.h"
#include "image/shared_library.h"

namespace tellurine {

namespace {

// librsvg, with cairo and GLib, loaded on first use: mapping them and the forty libraries they
// bring costs several milliseconds at every start of a program that links them, which every
// program of the project would pay, drawing or not (tellurine-thumbnailer, run for each file a
// file manager shows, never draws).
struct SvgApi {
    decltype(&g_memory_input_stream_new_from_data) memoryInputStreamNewFromData;
    decltype(&g_object_unref) objectUnref;
    decltype(&g_error_free) errorFree;
    decltype(&rsvg_handle_new_from_stream_sync) handleNewFromStreamSync;
    decltype(&rsvg_handle_get_intrinsic_size_in_pixels) handleGetIntrinsicSizeInPixels;
    decltype(&rsvg_handle_get_intrinsic_dimensions) handleGetIntrinsicDimensions;
    decltype(&rsvg_handle_render_document) handleRenderDocument;
    decltype(&cairo_image_surface_create) imageSurfaceCreate;
    decltype(&cairo_surface_status) surfaceStatus;
    decltype(&cairo_surface_destroy) surfaceDestroy;
    decltype(&cairo_create) create;
    decltype(&cairo_destroy) destroy;
    decltype(&cairo_surface_flush) surfaceFlush;
    decltype(&cairo_image_surface_get_data) imageSurfaceGetData;
    decltype(&cairo_image_surface_get_stride) imageSurfaceGetStride;
};

// The functions are looked up through librsvg, which brings cairo, GIO and GLib with it.
const SvgApi* LoadSvgApi() {
    void* library = OpenSharedLibrary("librsvg-2.so.2");
    if (library == nullptr) return nullptr;
    static SvgApi api;
    const bool ok =
        ResolveFunction(library, "g_memory_input_stream_new_from_data", api.memoryInputStreamNewFromData) &&
        ResolveFunction(library, "g_object_unref", api.objectUnref) &&
        ResolveFunction(library, "g_error_free", api.errorFree) &&
        ResolveFunction(library, "rsvg_handle_new_from_stream_sync", api.handleNewFromStreamSync) &&
        ResolveFunction(library, "rsvg_handle_get_intrinsic_size_in_pixels", api.handleGetIntrinsicSizeInPixels) &&
        ResolveFunction(library, "rsvg_handle_get_intrinsic_dimensions", api.handleGetIntrinsicDimensions) &&
        ResolveFunction(library, "rsvg_handle_render_document", api.handleRenderDocument) &&
        ResolveFunction(library, "cairo_image_surface_create", api.imageSurfaceCreate) &&
        ResolveFunction(library, "cairo_surface_status", api.surfaceStatus) &&
        ResolveFunction(library, "cairo_surface_destroy", api.surfaceDestroy) &&
        ResolveFunction(library, "cairo_create", api.create) &&
        ResolveFunction(library, "cairo_destroy", api.destroy) &&
        ResolveFunction(library, "cairo_surface_flush", api.surfaceFlush) &&
        ResolveFunction(library, "cairo_image_surface_get_data", api.imageSurfaceGetData) &&
        ResolveFunction(library, "cairo_image_surface_get_stride", api.imageSurfaceGetStride);
    if (!ok) {
        dlclose(library);
        return nullptr;
    }
    return &api;  // the library stays loaded for the life of the process
}

const SvgApi* GetSvgApi() {
    static const SvgApi* const api = LoadSvgApi();
    return api;
}

}  // namespace

struct SvgDrawing::Handle {
    RsvgHandle* rsvg = nullptr;
    ~Handle() {
        if (rsvg != nullptr) GetSvgApi()->objectUnref(rsvg);
    }
};

bool IsSvgFile(const std::string& path, std::span<const std::uint8_t> head) {
    const std::string ext = LowerExtension(path);
    if (ext == ".svg" || ext == ".svgz") return true;
    const std::string_view text(reinterpret_cast<const char*>(head.data()), head.size());
    return text.find("<svg") != std::string_view::npos;
}

SvgDrawing::SvgDrawing() = default;
SvgDrawing::~SvgDrawing() = default;

bool SvgDrawing::Load(std::span<const std::uint8_t> bytes, std::string& error) {
    handle_.reset();
    width_ = height_ = 0;
    if (bytes.size() > kMaxSvgBytes) {
        error = "the drawing is larger than " + std::to_string(kMaxSvgBytes / (1024 * 1024)) + " MB";
        return false;
    }
    const SvgApi* api = GetSvgApi();
    if (api == nullptr) {
        error = "the SVG library (librsvg) cannot be loaded";
        return false;
    }
    // Read from memory with no base file: a reference to another file or a URL has nothing to
    // resolve against, so nothing outside the drawing is read.
    GInputStream* stream = api->memoryInputStreamNewFromData(bytes.data(), static_cast<gssize>(bytes.size()), nullptr);
    GError* failure = nullptr;
    RsvgHandle* rsvg = api->handleNewFromStreamSync(stream, nullptr, RSVG_HANDLE_FLAGS_NONE, nullptr, &failure);
    api->objectUnref(stream);
    if (rsvg == nullptr) {
        error = failure != nullptr ? failure->message : "not a drawing that can be read";
        if (failure != nullptr) api->errorFree(failure);
        return false;
    }
    handle_ = std::make_unique<Handle>();
    handle_->rsvg = rsvg;
    gdouble w = 0, h = 0;
    if (api->handleGetIntrinsicSizeInPixels(rsvg, &w, &h) && w > 0 && h > 0) {
        width_ = static_cast<int>(std::lround(std::min<gdouble>(w, kMaxSvgSide)));
        height_ = static_cast<int>(std::lround(std::min<gdouble>(h, kMaxSvgSide)));
    } else {
        gboolean hasWidth = FALSE, hasHeight = FALSE, hasBox = FALSE;
        RsvgLength lw{}, lh{};
        RsvgRectangle box{};
        api->handleGetIntrinsicDimensions(rsvg, &hasWidth, &lw, &hasHeight, &lh, &hasBox, &box);
        if (hasBox && box.width > 0 && box.height > 0) {
            width_ = static_cast<int>(std::lround(std::min<gdouble>(box.width, kMaxSvgSide)));
            height_ = static_cast<int>(std::lround(std::min<gdouble>(box.height, kMaxSvgSide)));
        }
    }
    return true;
}

bool SvgDrawing::LoadFile(const std::string& path, std::string& error) {
    std::vector<std::uint8_t> bytes;
    if (!ReadFileBytes(path, bytes, kMaxSvgBytes, error)) return false;
    return Load(bytes, error);
}

Block SvgDrawing::Render(int width, int height) const {
    if (handle_ == nullptr || width < 1 || height < 1 || width > kMaxSvgSide || height > kMaxSvgSide) return {};
    const std::lock_guard lock(mutex_);
    const SvgApi* api = GetSvgApi();  // loaded, since a drawing was
    cairo_surface_t* surface = api->imageSurfaceCreate(CAIRO_FORMAT_ARGB32, width, height);
    if (api->surfaceStatus(surface) != CAIRO_STATUS_SUCCESS) {
        api->surfaceDestroy(surface);
        return {};
    }
    cairo_t* cr = api->create(surface);
    const RsvgRectangle viewport{0, 0, static_cast<double>(width), static_cast<double>(height)};
    GError* failure = nullptr;
    const bool drawn = api->handleRenderDocument(handle_->rsvg, cr, &viewport, &failure) != FALSE;
    if (failure != nullptr) api->errorFree(failure);
    api->destroy(cr);
    api->surfaceFlush(surface);

    Block out;
    if (drawn) out = CreateDibBlockForPixels(width, height, 32);
    const auto layout = out ? GetDibLayout(out) : std::nullopt;
    if (layout) {
        // Cairo's pixels are premultiplied 0xAARRGGBB words, top row first; the bitmap's are
        // straight blue, green, red, alpha bytes, bottom row first.
        const unsigned char* data = api->imageSurfaceGetData(surface);
        const int stride = api->imageSurfaceGetStride(surface);
        for (int y = 0; y < height; ++y) {
            const auto* s = reinterpret_cast<const std::uint32_t*>(data + static_cast<std::ptrdiff_t>(stride) * y);
            std::uint8_t* d = out.data() + layout->RowOffset(height - 1 - y);
            for (int x = 0; x < width; ++x, d += 4) {
                const std::uint32_t p = s[x];
                const std::uint32_t a = p >> 24;
                const auto straight = [a](std::uint32_t c) {
                    return static_cast<std::uint8_t>(a == 0 ? 0 : std::min<std::uint32_t>(255, (c * 255 + a / 2) / a));
                };
                d[0] = straight(p & 0xFF);
                d[1] = straight((p >> 8) & 0xFF);
                d[2] = straight((p >> 16) & 0xFF);
                d[3] = static_cast<std::uint8_t>(a);
            }
        }
    } else {
        out = {};
    }
    api->surfaceDestroy(surface);
    return out;
}

}  // namespace tellurine
