#include "app/shell/qsettings_profile.h"

#include "shell/app_support.h"

namespace tellurine::app {

namespace {

// QSettings treats '/' and '\' in keys as group separators; a section name has neither, and a
// value name is a single key inside its section.
QString Key(const std::string& section, const std::string& name) {
    return QString::fromStdString(section) + '/' + QString::fromStdString(name);
}

}  // namespace

QSettingsProfile::QSettingsProfile()
    : settings_(std::make_unique<QSettings>(QSettings::NativeFormat, QSettings::UserScope, shell::kOrganization,
                                            shell::kApplicationName)) {}

QSettingsProfile::QSettingsProfile(const QString& iniFile)
    : settings_(std::make_unique<QSettings>(iniFile, QSettings::IniFormat)) {}

int QSettingsProfile::GetInt(const std::string& section, const std::string& name, int defaultValue) const {
    const QVariant value = settings_->value(Key(section, name));
    if (!value.isValid()) return defaultValue;
    // The registry holds a number; an .ini file holds text, read as its leading number.
    if (value.typeId() == QMetaType::Int || value.typeId() == QMetaType::LongLong ||
        value.typeId() == QMetaType::UInt)
        return value.toInt();
    return shell::ProfileTextToInt(value.toString().toStdString());
}

std::string QSettingsProfile::GetString(const std::string& section, const std::string& name,
                                        const std::string& defaultValue) const {
    const QVariant value = settings_->value(Key(section, name));
    return value.isValid() ? value.toString().toStdString() : defaultValue;
}

void QSettingsProfile::WriteInt(const std::string& section, const std::string& name, int value) {
    settings_->setValue(Key(section, name), value);
}

void QSettingsProfile::WriteString(const std::string& section, const std::string& name, const std::string& value) {
    settings_->setValue(Key(section, name), QString::fromStdString(value));
}

void QSettingsProfile::Remove(const std::string& section, const std::string& name) {
    settings_->remove(Key(section, name));
}

}  // namespace tellurine::app
