// The drawing tools, their settings, and the tool palette that shows them.
#include <QMainWindow>
#include <QMenu>
#include <QPainter>
#include <QToolBar>
#include <QToolButton>

#include "app/common/texts.h"
#include "app/icon/icon_commands.h"
#include "app/shell/kv_app.h"
#include "app/shell/main_frame.h"

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

// The palette's picture of a tool: a few strokes in the window's text colour.
QIcon ToolIcon(ToolKind kind, const QPalette& palette) {
    QPixmap pixmap(20, 20);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    const QColor ink = palette.color(QPalette::WindowText);
    p.setPen(QPen(ink, 1.5));
    switch (kind) {
        case ToolKind::Select:
            p.setPen(QPen(ink, 1, Qt::DashLine));
            p.drawRect(3, 4, 14, 12);
            break;
        case ToolKind::Pick:
            p.drawLine(4, 16, 12, 8);
            p.setBrush(ink);
            p.drawEllipse(11, 3, 6, 6);
            break;
        case ToolKind::Replacer:
            // One colour becoming another.
            p.setBrush(ink);
            p.drawRect(3, 3, 6, 6);
            p.setBrush(Qt::NoBrush);
            p.drawRect(11, 11, 6, 6);
            p.drawLine(9, 9, 12, 12);
            break;
        case ToolKind::Pen:
            // A pencil: its body and its point.
            p.drawPolygon(QPolygonF({{14.5, 2.5}, {17.5, 5.5}, {7, 16}, {4, 13}}));
            p.setBrush(ink);
            p.drawPolygon(QPolygonF({{4, 13}, {7, 16}, {2.5, 17.5}}));
            break;
        case ToolKind::Brush:
            p.setPen(QPen(ink, 4, Qt::SolidLine, Qt::RoundCap));
            p.drawLine(5, 15, 15, 5);
            break;
        case ToolKind::Fill:
            p.setBrush(ink);
            p.drawPolygon(QPolygon({{3, 9}, {10, 3}, {17, 10}, {10, 17}}));
            break;
        case ToolKind::Line: p.drawLine(3, 17, 17, 3); break;
        case ToolKind::Rectangle: p.drawRect(3, 5, 14, 10); break;
        case ToolKind::FilledRectangle:
            p.setBrush(ink);
            p.drawRect(3, 5, 14, 10);
            break;
        case ToolKind::Ellipse: p.drawEllipse(3, 5, 14, 10); break;
        case ToolKind::FilledEllipse:
            p.setBrush(ink);
            p.drawEllipse(3, 5, 14, 10);
            break;
        case ToolKind::Frame3D:
            // A raised frame: light above and left, dark below and right, inside an outline.
            p.setPen(QPen(ink, 1));
            p.drawRect(2, 3, 16, 14);
            p.setPen(QPen(QColor(255, 255, 255), 2));
            p.drawPolyline(QPolygon({{4, 15}, {4, 5}, {16, 5}}));
            p.setPen(QPen(QColor(96, 96, 96), 2));
            p.drawPolyline(QPolygon({{5, 15}, {16, 15}, {16, 6}}));
            break;
    }
    return QIcon(pixmap);
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

void RegisterToolCommands(CMainFrame& main) {
    CKvApp& app = main.App();
    CommandRegistry& commands = *main.commands;
    auto* palette = new QToolBar(text::kToolPaletteTitle, &main);
    palette->setObjectName("toolPalette");
    palette->setIconSize(QSize(20, 20));
    main.addToolBar(Qt::LeftToolBarArea, palette);
    main.toolPalette = palette;

    for (std::size_t i = 0; i < std::size(kTools); ++i) {
        const auto kind = static_cast<ToolKind>(i);
        QAction* action = commands.Add({.id = kTools[i].id, .text = text::kToolNames[i],
                                        .shortcut = kTools[i].key != Qt::Key_unknown ? QKeySequence(kTools[i].key) : QKeySequence(),
                                        .execute = [&app, kind] { app.SetCurrentTool(kind); },
                                        .checked = [&app, kind] { return app.canvas.tool == app.Tool(kind); },
                                        .group = "tools"});
        action->setIcon(ToolIcon(kind, main.palette()));
        palette->addAction(action);
    }
    palette->addSeparator();

    // The settings every tool shares; the first tool's are the ones shown (the defaults until the
    // tools are made, after the main window).
    const auto settings = [&app]() -> const editor::ToolSettings& {
        static const editor::ToolSettings defaults;
        return app.tools.empty() ? defaults : app.tools.front()->settings;
    };
    const auto apply = [&app](const std::function<void(editor::ToolSettings&)>& change) {
        for (const auto& tool : app.tools) change(tool->settings);
    };
    commands.Add({.id = "tools.smoothEdges", .text = text::kSmoothEdges, .shortcut = QKeySequence(Qt::Key_E),
                  .execute = [&app, apply] {
                      app.prefs.Smooth32BppDraw = app.prefs.Smooth32BppDraw != 0 ? 0 : 1;
                      apply([&app](editor::ToolSettings& s) { s.smoothEdges = app.prefs.Smooth32BppDraw != 0; });
                  },
                  .checked = [&app] { return app.prefs.Smooth32BppDraw != 0; }});
    apply([&app](editor::ToolSettings& s) { s.smoothEdges = app.prefs.Smooth32BppDraw != 0; });

    // The gradient: a mode, plus the reflected effect added as 10.
    auto* gradients = new QMenu(text::kGradients, &main);
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

    auto* shapes = new QMenu(text::kBrushShapes, &main);
    for (int shape = 0; shape < editor::kBrushShapeCount; ++shape)
        shapes->addAction(commands.Add({.id = QString("brush.%1").arg(shape), .text = text::kBrushShapeNames[shape],
                                        .execute = [apply, shape] { apply([shape](editor::ToolSettings& s) { s.brushShape = shape; }); },
                                        .checked = [settings, shape] { return settings().brushShape == shape; },
                                        .group = "brushes"}));

    // The palette shows the current shape and gradient on buttons that open their lists.
    palette->addAction(commands.Action("tools.smoothEdges"));
    QToolButton* shapeButton = ChoiceButton(palette, shapes, "brushShapeButton");
    QToolButton* gradientButton = ChoiceButton(palette, gradients, "gradientButton");
    const auto show = [shapeButton, gradientButton, settings] {
        shapeButton->setText(text::kBrushShapeNames[settings().brushShape]);
        gradientButton->setText(text::kGradientNames[settings().gradient % editor::kReflectedGradient]);
    };
    QObject::connect(shapes, &QMenu::triggered, palette, show);
    QObject::connect(gradients, &QMenu::triggered, palette, show);
    show();
}

}  // namespace tellurine::app
