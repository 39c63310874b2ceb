// The Image and Filters commands on a format being edited: they work on the floating selection
// when there is one, else on the selection, else on the whole format, through the same bitmap
// edits the command-line tool runs on whole formats.
//
// A command that keeps the picture's size changes it where it lies. One that changes it (a
// resize, a turn of a selection that is not square or by a free angle) leaves the result as a
// floating selection: lifted from the format first (the pixels under it become transparent), at
// the same top-left corner after a resize and around the same centre after a turn, so that it
// can be moved before it is laid down. A turn of the whole format stays on the format, centred and
// cut to its size. Each returns false, with the format unchanged, when it cannot be done.
#pragma once

#include "editor/undo_history.h"
#include "imaging/adjust.h"
#include "imaging/resample.h"

namespace tellurine::editor {

// The size of what the commands work on (the resize dialog starts from it).
void SelectedImageSize(const FormatState& format, int& width, int& height);

bool FilterImage(FormatState& format, int filterNumber);  // filters 1..12 of the Filters menu
bool BlurImage(FormatState& format, int radius);          // the Gaussian blur, radius 2..50
bool InvertImage(FormatState& format);                    // colours inverted, transparency kept
// The colours adjusted. An indexed format is adjusted through its palette, the whole format
// whatever is selected, so that every pixel keeps its index (a floating selection's colours are
// adjusted and then take the nearest of the new entries); the other depths where the command works,
// their transparency kept.
bool AdjustImage(FormatState& format, const ColorAdjuster& adjuster);
// A drop shadow of the picture's own alpha under it, cut at the edges; 32-bit formats only.
bool ShadowImage(FormatState& format, const DropShadow& shadow);
// An indexed format's palette replaced entry for entry (up to the depth's count; black past the
// end of a short one): every pixel keeps its index and shows its entry's new colour.
bool ReplacePalette(FormatState& format, const Palette& palette);
// An indexed format's picture mapped onto another palette (its first 2^depth colours), with
// error diffusion when `dither`: new indices, and the palette taken as ReplacePalette takes it.
bool MapOntoPalette(FormatState& format, const Palette& palette, bool dither);
// An indexed format's palette reordered (moved or sorted entries, some perhaps changed): entry i of
// `palette` was entry origin[i] of the format's palette. Each pixel follows its entry to its new
// place, so the picture is unchanged but for the entries whose colour changed. False unless
// `origin` is a permutation of the format's entries.
bool ReorderPalette(FormatState& format, const Palette& palette, const std::vector<int>& origin);
// At most `count` colours (1..256) that represent an indexed format's visible pixels, by median
// cut, black past them up to the depth's entry count.
Palette OptimalPalette(const FormatState& format, int count);
bool FlipImage(FormatState& format, bool vertical);
bool RotateSelectedImage(FormatState& format, int angle);  // counter-clockwise degrees
bool ResizeImage(FormatState& format, int width, int height, ResampleQuality quality = ResampleQuality::Standard);

// Brings the whole format to another depth (1, 4, 8, 24 or 32 bits) through the colour reduction:
// a floating selection is laid down first; indexed depths get an optimal palette of the picture
// and dithered pixels, depths without alpha an AND mask where the alpha is below half.
bool ChangeImageDepth(FormatState& format, int bits);

}  // namespace tellurine::editor
