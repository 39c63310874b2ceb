// The per-user profile the preferences and recent-file lists live in: integers and strings under
// a section and a value name. The desktop program backs it with QSettings (the registry on
// Windows, an .ini-style file elsewhere); tests and the command-line tool use MemoryProfile.
#pragma once

#include <map>
#include <string>
#include <utility>

namespace tellurine::shell {

class Profile {
public:
    virtual ~Profile() = default;
    // The value, or `defaultValue` when it is missing. An integer stored as text is read as its
    // leading decimal number (0 when there is none), as the registry's profile calls read it.
    [[nodiscard]] virtual int GetInt(const std::string& section, const std::string& name, int defaultValue) const = 0;
    [[nodiscard]] virtual std::string GetString(const std::string& section, const std::string& name,
                                                const std::string& defaultValue) const = 0;
    virtual void WriteInt(const std::string& section, const std::string& name, int value) = 0;
    virtual void WriteString(const std::string& section, const std::string& name, const std::string& value) = 0;
    virtual void Remove(const std::string& section, const std::string& name) = 0;
};

// A profile held in memory, keyed by section and name.
class MemoryProfile : public Profile {
public:
    [[nodiscard]] int GetInt(const std::string& section, const std::string& name, int defaultValue) const override;
    [[nodiscard]] std::string GetString(const std::string& section, const std::string& name,
                                        const std::string& defaultValue) const override;
    void WriteInt(const std::string& section, const std::string& name, int value) override;
    void WriteString(const std::string& section, const std::string& name, const std::string& value) override;
    void Remove(const std::string& section, const std::string& name) override;

    [[nodiscard]] bool Has(const std::string& section, const std::string& name) const {
        return values_.count({section, name}) != 0;
    }
    [[nodiscard]] std::size_t size() const { return values_.size(); }

private:
    std::map<std::pair<std::string, std::string>, std::string> values_;
};

// An integer from the text a profile holds: its leading decimal number with an optional sign,
// after leading blanks; 0 when there is none, clamped to the int range.
int ProfileTextToInt(const std::string& text);

}  // namespace tellurine::shell
