// The editing canvas: painting a full 1920 x 1080 view of a 256 x 256 32-bit format at zoom 8,
// and a small update (16 x 16 image pixels at zoom 8), beside a memcpy of the full view's bytes.
// Goal: the full view within 4 times the memcpy's time, the small update under 0.1 ms.
// The undo history: recording and restoring a 1024 x 1024 32-bit format, beside a memcpy of the
// format's bytes (colour image and mask). Goal: within 10 times that memcpy.
// Drawing: a 1,000-point freehand stroke with the largest circle brush on a 256 x 256 32-bit
// format (per segment, beside a memcpy of that format), and a flood fill of a 1024 x 1024 format.
// Image commands: the Gaussian blur dialog's preview at radius 50 on a 256 x 256 32-bit format
// (a copy of the format's state blurred, what each move of the slider costs). Goal: under 30 ms.
// The same blur on a 1024 x 1024 format, the work the progress dialog covers.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <vector>

#include "editor/canvas.h"
#include "editor/image_commands.h"
#include "editor/tools.h"
#include "editor/edit_session.h"
#include "editor/undo_history.h"
#include "icon/format_maker.h"

namespace tellurine::editor {
namespace {

constexpr int kViewWidth = 1920, kViewHeight = 1080;

struct Scene {
    DeviceBitmap color = DeviceBitmap::Create(256, 256, 0);
    DeviceBitmap alpha = DeviceBitmap::Create(256, 256, 0);
    CanvasResources resources = CanvasResources::Build({});
    CanvasRenderer renderer;
    Scene() {
        for (int y = 0; y < 256; ++y)
            for (int x = 0; x < 256; ++x) {
                color.SetPixel(x, y, RGB(static_cast<std::uint8_t>(x), static_cast<std::uint8_t>(y), 128));
                // Opaque in the middle, soft towards the edges, clear in the corners.
                const int d = std::max(std::abs(x - 128), std::abs(y - 128));
                const auto a = static_cast<std::uint8_t>(d < 96 ? 255 : d < 120 ? (120 - d) * 10 : 0);
                alpha.SetPixel(x, y, RGB(a, a, a));
            }
    }
    void Paint(const CanvasRect& update) {
        const CanvasImage image{&color, &alpha, true, {}, false, nullptr};
        PaintedArea painted;
        renderer.Paint(image, resources, {8, true}, {8, 10, 10}, update, painted);
        benchmark::DoNotOptimize(painted);
    }
};

void BM_CanvasFullView(benchmark::State& state) {
    Scene scene;
    for (auto _ : state) scene.Paint({0, 0, kViewWidth, kViewHeight});
    state.SetBytesProcessed(state.iterations() * kViewWidth * kViewHeight * 4);
}
BENCHMARK(BM_CanvasFullView)->Unit(benchmark::kMicrosecond);

void BM_CanvasSmallUpdate(benchmark::State& state) {
    Scene scene;
    scene.Paint({0, 0, kViewWidth, kViewHeight});
    const CanvasRect update{10 + 100 * 8, 10 + 60 * 8, 10 + 116 * 8, 10 + 76 * 8};
    for (auto _ : state) scene.Paint(update);
}
BENCHMARK(BM_CanvasSmallUpdate)->Unit(benchmark::kMicrosecond);

constexpr int kFormatSide = 1024;

FormatState LargeFormat() {
    FormatState s;
    s.color = DeviceBitmap::Create(kFormatSide, kFormatSide, 0x336699);
    s.mask = DeviceBitmap::Create(kFormatSide, kFormatSide, 0xFFFFFF);
    return s;
}

void BM_UndoRecord(benchmark::State& state) {
    const FormatState format = LargeFormat();
    UndoHistory history;
    // The steady state of a long session: every slot already holds a format of this size, so a
    // record writes over the oldest. (The first records of a session take fresh memory, which
    // costs what the machine's page faults cost; with few iterations they would be all there is.)
    for (int i = 0; i < UndoHistory::kEntries; ++i) history.Record(format);
    for (auto _ : state) history.Record(format);
}
BENCHMARK(BM_UndoRecord)->Unit(benchmark::kMicrosecond);

// The undo record of a 10-pixel pencil stroke on a 1024 x 1024 format: the stroke's rectangle cut
// from the format as it was. Goals: at most 64 KB and 0.2 ms; 31 of them at most 2 MB.
void BM_UndoRecordPencilStroke(benchmark::State& state) {
    const FormatState format = LargeFormat();
    UndoHistory history;
    for (auto _ : state) history.RecordRegion(format, {500, 300, 510, 301});
    UndoHistory thirtyOne;
    for (int i = 0; i < UndoHistory::kMaxSteps; ++i) thirtyOne.RecordRegion(format, {500, 300 + i, 510, 301 + i});
    UndoHistory one;
    one.RecordRegion(format, {500, 300, 510, 301});
    state.counters["step_bytes"] = static_cast<double>(one.Bytes());
    state.counters["31_steps_bytes"] = static_cast<double>(thirtyOne.Bytes());
}
BENCHMARK(BM_UndoRecordPencilStroke)->Unit(benchmark::kMicrosecond);

// The whole of that stroke as the program makes it: press, move, release, the step recorded and
// the format written back into its icon image.
void BM_SessionPencilStroke(benchmark::State& state) {
    CIconDoc doc;
    CKvIcon icon;
    if (!MakeBlankFormat(1024, 1024, 32, icon)) return state.SkipWithError("no format");
    doc.AddFormat(std::move(icon));
    EditSession session(doc);
    const std::unique_ptr<CDrawTool> pen = MakeTool(ToolKind::Pen);
    ColourSelection colours;
    colours.foreground = RGB(0, 0, 255);
    int y = 0;
    for (auto _ : state) {
        session.Press(0, *pen, colours, 500, y, false, false);
        session.Move(509, y);
        session.Release(509, y);
        y = (y + 1) % 1024;
    }
    state.counters["undo_bytes"] = static_cast<double>(session.UndoBytes(0));
}
BENCHMARK(BM_SessionPencilStroke)->Unit(benchmark::kMicrosecond);

void BM_UndoAndRedo(benchmark::State& state) {
    FormatState format = LargeFormat();
    UndoHistory history;
    history.Record(format);
    history.Undo(format);
    for (auto _ : state) {
        history.Redo(format);
        history.Undo(format);
    }
    state.SetItemsProcessed(state.iterations() * 2);  // two restores an iteration
}
BENCHMARK(BM_UndoAndRedo)->Unit(benchmark::kMicrosecond);

void BM_BrushStroke1000Points(benchmark::State& state) {
    ColourSelection colours;
    colours.foreground = 0x3366CC;
    colours.foregroundOpacity = 200;
    for (auto _ : state) {
        state.PauseTiming();
        FormatState format;
        format.color = DeviceBitmap::Create(256, 256, 0xFFFFFF);
        format.mask = DeviceBitmap::Create(256, 256, 0x808080);
        std::unique_ptr<CDrawTool> brush = MakeTool(ToolKind::Brush);
        brush->settings.brushShape = 7;  // the largest circle
        state.ResumeTiming();
        brush->ButtonDown(format, colours, 20, 20, false);
        for (int i = 1; i < 1000; ++i) {
            // A zigzag across the format, a few pixels per segment.
            const int x = 20 + (i * 7) % 216, y = 20 + (i / 30) * 6 % 216;
            brush->PointerMove(format, colours, x, y);
        }
        brush->ButtonUp(format, colours, 0, 0);
    }
    state.SetItemsProcessed(state.iterations() * 1000);  // points
}
BENCHMARK(BM_BrushStroke1000Points)->Unit(benchmark::kMillisecond);

void BM_FloodFill1024(benchmark::State& state) {
    ColourSelection colours;
    colours.foreground = 0x3366CC;
    FormatState format = LargeFormat();
    format.alpha = false;
    format.depth = 24;
    format.mask = DeviceBitmap::Create(kFormatSide, kFormatSide, 0);
    std::unique_ptr<CDrawTool> fill = MakeTool(ToolKind::Fill);
    for (auto _ : state) {
        // Alternate colours so that every fill covers the whole format.
        colours.foreground = colours.foreground == 0x3366CC ? 0x336699 : 0x3366CC;
        fill->ButtonDown(format, colours, 512, 512, false);
        fill->ButtonUp(format, colours, 512, 512);
    }
}
BENCHMARK(BM_FloodFill1024)->Unit(benchmark::kMillisecond);

void BM_BlurPreview(benchmark::State& state) {
    const int side = static_cast<int>(state.range(0));
    Scene scene;
    FormatState format;
    format.color = DeviceBitmap::Create(side, side, 0);
    format.mask = DeviceBitmap::Create(side, side, 0);
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x) {
            format.color.SetPixel(x, y, scene.color.GetPixel(x % 256, y % 256));
            format.mask.SetPixel(x, y, scene.alpha.GetPixel(x % 256, y % 256));
        }
    for (auto _ : state) {
        FormatState shown = format;
        if (!BlurImage(shown, 50)) state.SkipWithError("blur failed");
        benchmark::DoNotOptimize(shown.color);
    }
}
BENCHMARK(BM_BlurPreview)->Arg(256)->Arg(1024)->Unit(benchmark::kMillisecond);

// A memcpy of as many bytes as each job touches: the full view (1920 x 1080 x 4), a 1024 x 1024
// format and a 256 x 256 one (colour image and mask, 4 bytes a pixel each).
void BM_Memcpy(benchmark::State& state) {
    std::vector<std::uint8_t> from(static_cast<std::size_t>(state.range(0)), 1), to(from.size());
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), from.size());
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_Memcpy)
    ->Arg(std::int64_t{kViewWidth} * kViewHeight * 4)
    ->Arg(std::int64_t{kFormatSide} * kFormatSide * 8)
    ->Arg(std::int64_t{256} * 256 * 8)
    ->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace tellurine::editor
