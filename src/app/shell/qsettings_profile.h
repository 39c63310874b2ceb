// The profile over QSettings: the registry under Software\Korvane\Tellurine on Windows, an
// .ini-style file elsewhere (or the file a test names).
#pragma once

#include <QSettings>
#include <memory>

#include "shell/profile.h"

namespace tellurine::app {

class QSettingsProfile : public shell::Profile {
public:
    // The user's own profile, under the organisation and program names.
    QSettingsProfile();
    // A profile kept in an .ini file of its own.
    explicit QSettingsProfile(const QString& iniFile);

    [[nodiscard]] int GetInt(const std::string& section, const std::string& name, int defaultValue) const override;
    [[nodiscard]] std::string GetString(const std::string& section, const std::string& name,
                                        const std::string& defaultValue) const override;
    void WriteInt(const std::string& section, const std::string& name, int value) override;
    void WriteString(const std::string& section, const std::string& name, const std::string& value) override;
    void Remove(const std::string& section, const std::string& name) override;
    void Sync() { settings_->sync(); }
    [[nodiscard]] QString FileName() const { return settings_->fileName(); }

private:
    std::unique_ptr<QSettings> settings_;
};

}  // namespace tellurine::app
