#include "formats/svg_file.h"

#include <cairo.h>
#include <librsvg/rsvg.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "image/dib_block.h"
#include "image/file_io.h"

namespace tellurine {

struct SvgDrawing::Handle {
    RsvgHandle* rsvg = nullptr;
    ~Handle() {
        if (rsvg != nullptr) g_object_unref(rsvg);
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
    // Read from memory with no base file: a reference to another file or a URL has nothing to
    // resolve against, so nothing outside the drawing is read.
    GInputStream* stream =
        g_memory_input_stream_new_from_data(bytes.data(), static_cast<gssize>(bytes.size()), nullptr);
    GError* failure = nullptr;
    RsvgHandle* rsvg = rsvg_handle_new_from_stream_sync(stream, nullptr, RSVG_HANDLE_FLAGS_NONE, nullptr, &failure);
    g_object_unref(stream);
    if (rsvg == nullptr) {
        error = failure != nullptr ? failure->message : "not a drawing that can be read";
        if (failure != nullptr) g_error_free(failure);
        return false;
    }
    handle_ = std::make_unique<Handle>();
    handle_->rsvg = rsvg;
    gdouble w = 0, h = 0;
    if (rsvg_handle_get_intrinsic_size_in_pixels(rsvg, &w, &h) && w > 0 && h > 0) {
        width_ = static_cast<int>(std::lround(std::min<gdouble>(w, kMaxSvgSide)));
        height_ = static_cast<int>(std::lround(std::min<gdouble>(h, kMaxSvgSide)));
    } else {
        gboolean hasWidth = FALSE, hasHeight = FALSE, hasBox = FALSE;
        RsvgLength lw{}, lh{};
        RsvgRectangle box{};
        rsvg_handle_get_intrinsic_dimensions(rsvg, &hasWidth, &lw, &hasHeight, &lh, &hasBox, &box);
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
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
    if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(surface);
        return {};
    }
    cairo_t* cr = cairo_create(surface);
    const RsvgRectangle viewport{0, 0, static_cast<double>(width), static_cast<double>(height)};
    GError* failure = nullptr;
    const bool drawn = rsvg_handle_render_document(handle_->rsvg, cr, &viewport, &failure) != FALSE;
    if (failure != nullptr) g_error_free(failure);
    cairo_destroy(cr);
    cairo_surface_flush(surface);

    Block out;
    if (drawn) out = CreateDibBlockForPixels(width, height, 32);
    const auto layout = out ? GetDibLayout(out) : std::nullopt;
    if (layout) {
        // Cairo's pixels are premultiplied 0xAARRGGBB words, top row first; the bitmap's are
        // straight blue, green, red, alpha bytes, bottom row first.
        const unsigned char* data = cairo_image_surface_get_data(surface);
        const int stride = cairo_image_surface_get_stride(surface);
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
    cairo_surface_destroy(surface);
    return out;
}

}  // namespace tellurine
