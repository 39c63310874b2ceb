// tellurine-cli reduce IN OUT [--colors N] [--no-dither] [--keep-black-white]
// Reduces any image to an 8-bit palette image with an optimal palette.
#include <CLI/CLI.hpp>

#include <memory>

#include "cli/commands.h"
#include "formats/image_file.h"
#include "image/dib.h"
#include "image/file_io.h"
#include "imaging/dib_reduce.h"

namespace tellurine::cli {

namespace {

struct ReduceOptions {
    std::string input;
    std::string output;
    int colors = 256;
    bool noDither = false;
    bool keepBlackAndWhite = false;
};

int RunReduce(const ReduceOptions& o) {
    ImageFileFormat format{};
    if (!ImageFileFormatFromPath(o.output, format)) {
        PrintError("reduce: the output must end in .png or .bmp: " + o.output);
        return kExitUsage;
    }
    CDIB dib;
    std::string error;
    if (!LoadImageFile(o.input, dib, error)) {
        PrintError("reduce: cannot read " + o.input + ": " + error);
        return kExitFailure;
    }
    ReduceToOptimalPalette(dib, o.colors, !o.noDither, o.keepBlackAndWhite);
    if (dib.BitCount() != 8) {
        PrintError("reduce: out of memory to reduce " + o.input);
        return kExitFailure;
    }
    std::vector<std::uint8_t> bytes;
    if (!EncodeImageFile(dib, format, bytes, error) || !WriteFileAtomically(o.output, bytes, error)) {
        PrintError("reduce: cannot write " + o.output + ": " + error);
        return kExitFailure;
    }
    return kExitOk;
}

}  // namespace

CommandRunner AddReduceCommand(CLI::App& app) {
    auto options = std::make_shared<ReduceOptions>();
    CLI::App* sub = app.add_subcommand("reduce", "Reduce an image to 8 bits with an optimal palette");
    sub->add_option("IN", options->input, "Image to read (any format the image library reads)")->required();
    sub->add_option("OUT", options->output, "Image to write: .png or .bmp")->required();
    sub->add_option("--colors", options->colors, "Most colours in the palette")
        ->check(CLI::Range(1, 256))
        ->default_val(256);
    sub->add_flag("--no-dither", options->noDither, "Map each pixel to its nearest colour, without error diffusion");
    sub->add_flag("--keep-black-white", options->keepBlackAndWhite,
                  "Keep pure black and white in the palette, white last");
    return [options] { return RunReduce(*options); };
}

}  // namespace tellurine::cli
