// The drawing tools, their settings, and the tool palette that shows them.
#include <QMainWindow>
#include <QMenu>
#include <QToolBar>
#include <QToolButton>

#include "app/common/app_context.h"
#include "app/icon/gradient_dialog.h"
#include "app/icon/icon_commands.h"
#include "app/icon/tool_pictures.h"
#include "shell/texts.h"

namespace tellurine::app {
namespace {

using editor::ToolKind;

struct ToolCommand {
    const char* id;
    Qt::Key key;
};

// In the order of ToolKind.
constexpr ToolCommand kTools[] = {
    {"tool.select", Qt::Key_A},           {"tool.picker", Qt::Key_C},    {"tool.replacer", Qt::Key_unknown},
    {"tool.pencil", Qt::Key_P},           {"tool.brush", Qt::Key_J},     {"tool.fill", Qt::Key_Q},
    {"tool.line", Qt::Key_L},             {"tool.rectangle", Qt::Key_M}, {"tool.filledRectangle", Qt::Key_N},
    {"tool.ellipse", Qt::Key_X},          {"tool.filledEllipse", Qt::Key_Y}, {"tool.frame3d", Qt::Key_3},
};

// The colour bar's colour with its opacity, as the gradient editor shows a foreground or
// background end: the transparent colour clear, the inverted one white.
GradientColour ShownColour(editor::ColourValue value, int opacity) {
    const editor::ColourKind kind = editor::KindOf(value);
    const COLORREF c = kind == editor::ColourKind::Ordinary ? editor::SampleColour(value, {}, 0) : 0xFFFFFF;
    return {GetRValue(c) / 255.0, GetGValue(c) / 255.0, GetBValue(c) / 255.0,
            kind == editor::ColourKind::Transparent ? 0.0 : opacity / 255.0};
}

// A palette button that opens a submenu of choices and shows the chosen one's text.
QToolButton* ChoiceButton(QToolBar* palette, QMenu* menu, const QString& name) {
    auto* button = new QToolButton(palette);
    button->setObjectName(name);
    button->setMenu(menu);
    button->setPopupMode(QToolButton::InstantPopup);
    button->setToolButtonStyle(Qt::ToolButtonTextOnly);
    palette->addWidget(button);
    return button;
}

}  // namespace

ToolPalette RegisterToolCommands(AppContext& app) {
    CommandRegistry& commands = app.Commands();
    shell::Workbench& bench = app.Workbench();
    shell::Preferences& prefs = app.Prefs();
    QMainWindow* main = app.Window();
    auto* palette = new QToolBar(text::kToolPaletteTitle, main);
    palette->setObjectName("toolPalette");
    palette->setIconSize(QSize(20, 20));
    main->addToolBar(Qt::LeftToolBarArea, palette);

    for (std::size_t i = 0; i < std::size(kTools); ++i) {
        const auto kind = static_cast<ToolKind>(i);
        QAction* action = commands.Add({.id = kTools[i].id, .text = text::kToolNames[i],
                                        .shortcut = kTools[i].key != Qt::Key_unknown ? QKeySequence(kTools[i].key) : QKeySequence(),
                                        .execute = [&bench, kind] { bench.SetCurrentTool(kind); },
                                        .checked = [&bench, kind] {
                                            return bench.canvas.tool != nullptr && bench.canvas.tool == bench.Tool(kind);
                                        },
                                        .group = "tools"});
        action->setIcon(ToolIcon(kind, main->palette()));
        palette->addAction(action);
    }
    palette->addSeparator();

    // The settings every tool shares; the first tool's are the ones shown (the defaults until the
    // tools are made, after the main window).
    const auto settings = [&bench]() -> const editor::ToolSettings& {
        static const editor::ToolSettings defaults;
        return bench.tools.empty() ? defaults : bench.tools.front()->settings;
    };
    const auto apply = [&bench](const std::function<void(editor::ToolSettings&)>& change) {
        for (const auto& tool : bench.tools) change(tool->settings);
    };
    commands.Add({.id = "tools.smoothEdges", .text = text::kSmoothEdges, .shortcut = QKeySequence(Qt::Key_E),
                  .execute = [&prefs, apply] {
                      prefs.Smooth32BppDraw = prefs.Smooth32BppDraw != 0 ? 0 : 1;
                      apply([&prefs](editor::ToolSettings& s) { s.smoothEdges = prefs.Smooth32BppDraw != 0; });
                  },
                  .checked = [&prefs] { return prefs.Smooth32BppDraw != 0; }});

    // The gradient: a mode, plus the reflected effect added as 10.
    auto* gradients = new QMenu(text::kGradients, main);
    for (int mode = 0; mode < 5; ++mode)
        gradients->addAction(commands.Add(
            {.id = QString("gradient.%1").arg(mode), .text = text::kGradientNames[mode],
             .execute = [apply, mode] {
                 apply([mode](editor::ToolSettings& s) { s.gradient = mode + s.gradient / editor::kReflectedGradient * editor::kReflectedGradient; });
             },
             .checked = [settings, mode] { return settings().gradient % editor::kReflectedGradient == mode; },
             .group = "gradients"}));
    gradients->addSeparator();
    gradients->addAction(commands.Add(
        {.id = "gradients.reflected", .text = text::kReflectedGradient,
         .execute = [apply] {
             apply([](editor::ToolSettings& s) {
                 s.gradient = s.gradient >= editor::kReflectedGradient ? s.gradient - editor::kReflectedGradient
                                                                        : s.gradient + editor::kReflectedGradient;
             });
         },
         .checked = [settings] { return settings().gradient >= editor::kReflectedGradient; }}));
    // The colours the gradient runs through, for every tool.
    gradients->addSeparator();
    gradients->addAction(commands.Add(
        {.id = "gradients.edit", .text = text::kEditGradient, .execute = [&app, &bench, apply, settings] {
             const editor::ColourSelection& c = bench.colours;
             CDialGradient dialog(settings().stops, ShownColour(c.foreground, c.foregroundOpacity),
                                  ShownColour(c.background, c.backgroundOpacity), app.Prompts(), app.Window());
             if (app.Prompts().Exec(dialog) != QDialog::Accepted) return;
             const Gradient chosen = dialog.Result();
             apply([&chosen](editor::ToolSettings& s) { s.stops = chosen; });
         }}));

    auto* shapes = new QMenu(text::kBrushShapes, main);
    for (int shape = 0; shape < editor::kBrushShapeCount; ++shape)
        shapes->addAction(commands.Add({.id = QString("brush.%1").arg(shape), .text = text::kBrushShapeNames[shape],
                                        .execute = [apply, shape] { apply([shape](editor::ToolSettings& s) { s.brushShape = shape; }); },
                                        .checked = [settings, shape] { return settings().brushShape == shape; },
                                        .group = "brushes"}));

    // The palette shows the current shape and gradient on buttons that open their lists (the
    // Tools menu's own), whichever way they were chosen.
    palette->addAction(commands.Action("tools.smoothEdges"));
    QToolButton* shapeButton = ChoiceButton(palette, shapes, "brushShapeButton");
    QToolButton* gradientButton = ChoiceButton(palette, gradients, "gradientButton");
    const auto show = [shapeButton, gradientButton, settings] {
        shapeButton->setText(text::kBrushShapeNames[settings().brushShape]);
        gradientButton->setText(text::kGradientNames[settings().gradient % editor::kReflectedGradient]);
    };
    QObject::connect(&commands, &CommandRegistry::refreshed, palette, show);
    show();
    return {palette, gradients, shapes};
}

}  // namespace tellurine::app
