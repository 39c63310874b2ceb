// The program's commands, each found by its id: menus, tool bars, shortcuts and tests all reach a
// command through the registry, never through a window's own action or slot.
#pragma once

#include <QAction>
#include <QKeySequence>
#include <QObject>
#include <QString>
#include <QStyle>
#include <functional>
#include <initializer_list>
#include <map>
#include <vector>

class QActionGroup;
class QWidget;

namespace tellurine::app {

// One command. `execute` runs it; `enabled` and `checked` are asked again after every change the
// main window hears of (null: always enabled; not checkable). Commands that share a `group` are
// shown as a choice of one.
struct Command {
    QString id{};
    QString text{};
    QKeySequence shortcut{};
    std::function<void()> execute{};
    std::function<bool()> enabled{};
    std::function<bool()> checked{};
    QString group{};
    QStyle::StandardPixmap icon = QStyle::SP_CustomBase;
    QString statusTip{};
    QKeySequence alternate{};  // a second key (Ctrl+= beside Ctrl++)
};

class CommandRegistry : public QObject {
    Q_OBJECT
public:
    // The actions are children of `owner`, whose window their shortcuts work in.
    explicit CommandRegistry(QWidget* owner);

    // Adds a command and returns its action. An id already taken is a programming error: the
    // first command keeps it and the second gets no action (null).
    QAction* Add(Command command);
    [[nodiscard]] QAction* Action(const QString& id) const;
    // Runs the command when it exists and is enabled; false otherwise.
    bool Execute(const QString& id);
    // Asks every command again whether it is enabled and checked, then says so (refreshed).
    void Update();
    // Every id in the order added.
    [[nodiscard]] QStringList Ids() const;

    // A document window's own button for a command (on its tool bar or context menu): it makes
    // that window the active one, then runs the command, so it acts on the window it is in. The
    // window enables it by its own state. Null for an unknown id.
    QAction* WindowAction(const QString& id, QWidget* window);

    // Adds the commands to a menu or tool bar in order; "-" is a separator.
    void AddTo(QWidget* menuOrBar, std::initializer_list<const char*> ids) const;

signals:
    void refreshed();

private:
    void Refresh(const Command& command, QAction* action) const;

    QWidget* owner_;
    std::vector<Command> commands_;
    std::vector<QAction*> actions_;
    std::map<QString, std::size_t> byId_;
    std::map<QString, QActionGroup*> groups_;
};

}  // namespace tellurine::app
