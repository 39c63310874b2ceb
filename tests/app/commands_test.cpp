// The command registry and the main window's chrome built on it: menus, the tool palette and the
// Window menu.
#include <QMdiArea>
#include <QMenuBar>
#include <QToolBar>
#include <QToolButton>
#include <QtTest>

#include "app/common/commands.h"
#include "app/icon/gradient_dialog.h"
#include "app/icon/icon_frame.h"
#include "app/icon/icon_project.h"
#include "app/shell/kv_app.h"
#include "app/shell/main_frame.h"
#include "app_test_support.h"

using namespace tellurine;
using namespace tellurine::app;
using namespace tellurine::app::test;

class CommandsTest : public QObject {
    Q_OBJECT
private slots:
    void registryRunsOnlyEnabledCommandsAndShowsTheModelsState();
    void menusAndTheToolPaletteShowTheRegisteredCommands();
    void gradientEditorEditsEveryToolsStops();
    void windowMenuListsTheOpenDocuments();
};

void CommandsTest::registryRunsOnlyEnabledCommandsAndShowsTheModelsState() {
    QWidget owner;
    CommandRegistry commands(&owner);
    int runs = 0;
    bool allowed = false, on = false;
    QAction* run = commands.Add({.id = "test.run", .text = "&Run", .execute = [&] { ++runs; },
                                 .enabled = [&] { return allowed; }});
    QVERIFY(run != nullptr);
    QVERIFY(!run->isEnabled());
    QVERIFY(!commands.Execute("test.run"));
    run->trigger();  // a disabled action does nothing, even when triggered
    QCOMPARE(runs, 0);
    allowed = true;
    commands.Update();
    QVERIFY(run->isEnabled());
    QVERIFY(commands.Execute("test.run"));
    QCOMPARE(runs, 1);
    QVERIFY(!commands.Execute("test.unknown"));
    QVERIFY(commands.Action("test.unknown") == nullptr);
    // A second command of the same id is refused; the first keeps it.
    QVERIFY(commands.Add({.id = "test.run", .text = "Other"}) == nullptr);
    QCOMPARE(commands.Action("test.run")->text(), QString("&Run"));

    // A checkable command shows what the model says, not what a click toggled.
    QAction* toggle = commands.Add({.id = "test.toggle", .text = "Toggle", .execute = [&] { on = !on; },
                                    .checked = [&] { return on; }});
    QVERIFY(toggle->isCheckable() && !toggle->isChecked());
    toggle->trigger();
    QVERIFY(on && toggle->isChecked());
    QAction* stubborn = commands.Add({.id = "test.stubborn", .text = "Stays off", .execute = [] {},
                                      .checked = [] { return false; }});
    stubborn->trigger();
    QVERIFY(!stubborn->isChecked());
    QCOMPARE(commands.Ids(), QStringList({"test.run", "test.toggle", "test.stubborn"}));
}

void CommandsTest::menusAndTheToolPaletteShowTheRegisteredCommands() {
    StartedApp s;
    CMainFrame* main = s.app->MainFrame();
    // Each menu item (but the lists of recent files and windows) is a command found by its id.
    QStringList menuIds;
    std::function<void(QMenu*)> walk = [&](QMenu* menu) {
        if (menu == main->recentMenu || menu == main->moreRecentMenu) return;
        for (QAction* action : menu->actions()) {
            if (action->menu() != nullptr) walk(action->menu());
            else if (!action->isSeparator() && action->parent() == main) {
                QVERIFY2(main->Action(action->objectName()) == action, qPrintable(action->text()));
                menuIds << action->objectName();
            }
        }
    };
    for (QAction* top : main->menuBar()->actions()) walk(top->menu());
    // Every command is in a menu (the list of windows only past nine; a program's, a
    // library's, an animation's or an explorer's window, and the collections' dock, has its own on its tool bar), and no two that can be on together share a
    // key: a program window's keys are the Edit and File menus' own, which are off while it is active.
    QSet<QString> keys;
    for (const QString& id : main->commands->Ids()) {
        const bool window = id.startsWith("program.") || id.startsWith("ani.") || id.startsWith("library.") ||
                            id.startsWith("explorer.") || (id.startsWith("librarian.") && id != "librarian.add");
        QVERIFY2(menuIds.contains(id) || id == "window.more" || window, qPrintable(id));
        if (window) continue;
        for (const QKeySequence& shortcut : main->Action(id)->shortcuts()) {
            const QString key = shortcut.toString();
            QVERIFY2(!keys.contains(key), qPrintable(id + " " + key));
            keys.insert(key);
        }
    }
    // Without a document the document's commands are off; the program's own are on.
    for (const char* id : {"file.save", "file.close", "edit.copy", "image.resize", "view.zoomIn", "filter.last"})
        QVERIFY2(!main->Action(id)->isEnabled(), id);
    for (const char* id : {"file.new", "file.open", "app.preferences", "tool.brush"}) QVERIFY2(main->Action(id)->isEnabled(), id);
    QVERIFY(!main->commands->Execute("file.close"));

    // The tool palette: a button a tool, movable, with its own entry in the View menu.
    QToolBar* palette = main->toolPalette;
    QVERIFY(palette != nullptr);
    QVERIFY(palette->isMovable() && palette->toggleViewAction() != nullptr);
    int tools = 0;
    for (QAction* action : palette->actions())
        if (action->objectName().startsWith("tool.")) {
            ++tools;
            QVERIFY(!action->icon().isNull());
        }
    QCOMPARE(tools, 12);
    // The pencil is current at start; choosing the brush on the palette makes it the canvas's tool.
    QVERIFY(main->Action("tool.pencil")->isChecked());
    auto* brushButton = qobject_cast<QToolButton*>(palette->widgetForAction(main->Action("tool.brush")));
    QVERIFY(brushButton != nullptr);
    QTest::mouseClick(brushButton, Qt::LeftButton);
    QCOMPARE(s.app->canvas.tool, s.app->Tool(editor::ToolKind::Brush));
    QVERIFY(main->Action("tool.brush")->isChecked() && !main->Action("tool.pencil")->isChecked());
    // The shape and gradient buttons show the current choice and change with it.
    auto* shape = palette->findChild<QToolButton*>("brushShapeButton");
    auto* gradient = palette->findChild<QToolButton*>("gradientButton");
    QCOMPARE(QStringList({shape->text(), gradient->text()}), QStringList({"Fine", "Solid"}));
    shape->menu()->actions()[5]->trigger();
    QCOMPARE(shape->text(), QString("Circle (medium)"));
    for (const auto& tool : s.app->tools) QCOMPARE(tool->settings.brushShape, 5);
    gradient->menu()->actions()[2]->trigger();
    QCOMPARE(gradient->text(), QString("Vertical gradient"));
    // Hidden and shown again from the View menu.
    main->show();
    main->Action("view.toolPalette")->trigger();
    QVERIFY(palette->isHidden() && !main->Action("view.toolPalette")->isChecked());
    main->Action("view.toolPalette")->trigger();
    QVERIFY(!palette->isHidden());
    // Hidden by its own means (the bars' context menu), the check mark follows.
    palette->hide();
    QVERIFY(!main->Action("view.toolPalette")->isChecked());
}

void CommandsTest::gradientEditorEditsEveryToolsStops() {
    StartedApp s;
    // Clicks on the bar add stops: the one at a quarter is taken away with Delete, the one at the
    // middle is dragged along the markers to three quarters and double-clicked for green.
    s.prompts->colours.push_back(QColor(0, 255, 0));
    s.prompts->dialogActions.push_back([&](QDialog& dialog) {
        auto& d = dynamic_cast<CDialGradient&>(dialog);
        GradientBar* bar = d.bar;
        const int row = GradientBar::kMarkerRow;
        QTest::mouseClick(bar, Qt::LeftButton, {}, QPoint(bar->XOf(0.25), GradientBar::kBarMiddle));
        QTest::keyClick(bar, Qt::Key_Delete);
        QTest::mouseClick(bar, Qt::LeftButton, {}, QPoint(bar->XOf(0.5), GradientBar::kBarMiddle));
        QTest::mousePress(bar, Qt::LeftButton, {}, QPoint(bar->XOf(0.5), row));
        QTest::mouseMove(bar, QPoint(bar->XOf(0.75), row));
        QTest::mouseRelease(bar, Qt::LeftButton, {}, QPoint(bar->XOf(0.75), row));
        QTest::mouseDClick(bar, Qt::LeftButton, {}, QPoint(bar->XOf(0.75), row));
        d.accept();
        return d.result();
    });
    s.app->MainFrame()->Action("gradients.edit")->trigger();
    const Gradient chosen = s.app->tools.front()->settings.stops;
    QCOMPARE(chosen.Stops().size(), std::size_t{3});
    QVERIFY(std::abs(chosen.Stops()[1].position - 0.75) < 0.01);
    QVERIFY((chosen.Stops()[1].colour == GradientColour{0, 1, 0, 1}));
    for (const auto& tool : s.app->tools) QVERIFY(tool->settings.stops.Segments() == chosen.Segments());

    // Kept in the profile for the next run.
    s.app->ExitInstance();
    s.app.reset();
    s.Start({});
    QVERIFY(s.app->tools.back()->settings.stops.Segments() == chosen.Segments());
}

void CommandsTest::windowMenuListsTheOpenDocuments() {
    StartedApp s;
    CMainFrame* main = s.app->MainFrame();
    main->show();
    const auto listed = [&] {
        emit main->windowMenu->aboutToShow();
        QStringList texts;
        for (QAction* action : main->windowMenu->actions())
            if (!action->isSeparator()) texts << action->text();
        return texts;
    };
    QCOMPARE(listed(), QStringList({"&Cascade", "&Tile", "Close &All"}));
    for (int i = 0; i < 11; ++i) {
        const QString path = s.Path(QString("icon%1.ico").arg(i));
        WriteProject(path, {{16, 32}});
        QVERIFY(s.app->OpenDocumentFile(path) != nullptr);
    }
    // New windows cascade (where to: the shell's test of window places).
    const auto children = main->Children();
    QVERIFY(children[1]->pos().x() > children[0]->pos().x() && children[1]->pos().y() > children[0]->pos().y());

    // The first nine, numbered, the active one checked, then "More Windows...".
    const QStringList texts = listed();
    QCOMPARE(texts.size(), 3 + 9 + 1);
    QCOMPARE(texts[3], QString("&1 icon0.ico"));
    QCOMPARE(texts[11], QString("&9 icon8.ico"));
    QCOMPARE(texts.back(), QString("&More Windows..."));
    main->windowMenu->actions()[4]->trigger();  // "&1 icon0.ico", after the three commands and a separator
    QCOMPARE(main->ActiveDocument()->Title(), QString("icon0.ico"));
    emit main->windowMenu->aboutToShow();
    QVERIFY(main->windowMenu->actions()[4]->isChecked() && !main->windowMenu->actions()[5]->isChecked());
    // More Windows offers them all and activates the one chosen.
    s.prompts->items.push_back("icon10.ico");
    QVERIFY(main->commands->Execute("window.more"));
    QVERIFY(s.prompts->offeredItems.endsWith("icon9.ico, icon10.ico"));
    QCOMPARE(main->ActiveDocument()->Title(), QString("icon10.ico"));
    QVERIFY(main->commands->Execute("window.more"));  // cancelled: nothing changes
    QCOMPARE(main->ActiveDocument()->Title(), QString("icon10.ico"));
}

QTEST_MAIN(CommandsTest)
#include "commands_test.moc"
