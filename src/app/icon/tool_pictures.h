// The pictures of the drawing tools: the tool palette's icons and the pointer each tool shows over
// the canvas.
#pragma once

#include <QCursor>
#include <QIcon>

#include "editor/tools.h"

class QPalette;

namespace tellurine::app {

QIcon ToolIcon(editor::ToolKind kind, const QPalette& palette);
// The pointer over the canvas: Move and Arrow as Qt has them; otherwise a cross, its centre the
// pixel the tool works on, with the tool's picture beside it, so each tool has its own.
QCursor ToolPointer(editor::ToolKind kind, editor::ToolCursor shape);

}  // namespace tellurine::app
