#include "app/common/commands.h"

#include <QActionGroup>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPointer>
#include <QSignalBlocker>
#include <QWidget>

namespace tellurine::app {

CommandRegistry::CommandRegistry(QWidget* owner) : QObject(owner), owner_(owner) {}

QAction* CommandRegistry::Add(Command command) {
    if (byId_.count(command.id) != 0) return nullptr;
    auto* action = new QAction(command.text, owner_);
    action->setObjectName(command.id);
    if (!command.alternate.isEmpty()) action->setShortcuts({command.shortcut, command.alternate});
    else if (!command.shortcut.isEmpty()) action->setShortcut(command.shortcut);
    if (command.icon != QStyle::SP_CustomBase) action->setIcon(owner_->style()->standardIcon(command.icon));
    if (!command.statusTip.isEmpty()) action->setStatusTip(command.statusTip);
    action->setCheckable(static_cast<bool>(command.checked));
    if (!command.group.isEmpty()) {
        QActionGroup*& group = groups_[command.group];
        if (group == nullptr) group = new QActionGroup(this);
        action->setActionGroup(group);
    }
    // A checkable action has already flipped its own state when this runs: the command decides
    // what it shows, so Update puts back what `checked` says.
    const QString id = command.id;
    connect(action, &QAction::triggered, this, [this, id] { Execute(id); });
    owner_->addAction(action);
    byId_[command.id] = commands_.size();
    commands_.push_back(std::move(command));
    actions_.push_back(action);
    Refresh(commands_.back(), action);
    return action;
}

QAction* CommandRegistry::Action(const QString& id) const {
    const auto found = byId_.find(id);
    return found != byId_.end() ? actions_[found->second] : nullptr;
}

bool CommandRegistry::Execute(const QString& id) {
    const auto found = byId_.find(id);
    if (found == byId_.end()) return false;
    // Copied: the command may close the window whose registry this is.
    const Command command = commands_[found->second];
    if (command.enabled && !command.enabled()) {
        Refresh(command, actions_[found->second]);
        return false;
    }
    if (command.execute) command.execute();
    Update();
    return true;
}

QAction* CommandRegistry::WindowAction(const QString& id, QWidget* window) {
    const QAction* shared = Action(id);
    if (shared == nullptr) return nullptr;
    auto* action = new QAction(shared->icon(), shared->text(), window);
    action->setObjectName(id);
    action->setToolTip(shared->toolTip());
    // The registry may go before the window (at exit): it is asked for only when clicked.
    connect(action, &QAction::triggered, window, [registry = QPointer<CommandRegistry>(this), window, id] {
        for (QWidget* w = window; w != nullptr; w = w->parentWidget())
            if (auto* sub = qobject_cast<QMdiSubWindow*>(w)) {
                if (sub->mdiArea() != nullptr) sub->mdiArea()->setActiveSubWindow(sub);
                break;
            }
        if (registry != nullptr) registry->Execute(id);
    });
    return action;
}

void CommandRegistry::Refresh(const Command& command, QAction* action) const {
    action->setEnabled(!command.enabled || command.enabled());
    if (command.checked) {
        const QSignalBlocker quiet(action);
        action->setChecked(command.checked());
    }
}

void CommandRegistry::Update() {
    for (std::size_t i = 0; i < commands_.size(); ++i) Refresh(commands_[i], actions_[i]);
    emit refreshed();
}

QStringList CommandRegistry::Ids() const {
    QStringList ids;
    for (const Command& command : commands_) ids << command.id;
    return ids;
}

void CommandRegistry::AddTo(QWidget* menuOrBar, std::initializer_list<const char*> ids) const {
    for (const char* id : ids) {
        if (QString(id) == "-") {
            auto* separator = new QAction(menuOrBar);
            separator->setSeparator(true);
            menuOrBar->addAction(separator);
        } else if (QAction* action = Action(id)) {
            menuOrBar->addAction(action);
        }
    }
}

}  // namespace tellurine::app
