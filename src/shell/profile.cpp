#include "shell/profile.h"

#include <cctype>
#include <climits>
#include <cstdint>

namespace tellurine::shell {

int ProfileTextToInt(const std::string& text) {
    std::size_t i = 0;
    while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == '-' || text[i] == '+')) negative = text[i++] == '-';
    std::int64_t value = 0;
    for (; i < text.size() && std::isdigit(static_cast<unsigned char>(text[i])); ++i) {
        value = value * 10 + (text[i] - '0');
        if (value > std::int64_t{INT_MAX} + 1) value = std::int64_t{INT_MAX} + 1;
    }
    if (negative) value = -value;
    if (value > INT_MAX) value = INT_MAX;
    if (value < INT_MIN) value = INT_MIN;
    return static_cast<int>(value);
}

int MemoryProfile::GetInt(const std::string& section, const std::string& name, int defaultValue) const {
    const auto it = values_.find({section, name});
    return it == values_.end() ? defaultValue : ProfileTextToInt(it->second);
}

std::string MemoryProfile::GetString(const std::string& section, const std::string& name,
                                     const std::string& defaultValue) const {
    const auto it = values_.find({section, name});
    return it == values_.end() ? defaultValue : it->second;
}

void MemoryProfile::WriteInt(const std::string& section, const std::string& name, int value) {
    values_[{section, name}] = std::to_string(value);
}

void MemoryProfile::WriteString(const std::string& section, const std::string& name, const std::string& value) {
    values_[{section, name}] = value;
}

void MemoryProfile::Remove(const std::string& section, const std::string& name) { values_.erase({section, name}); }

}  // namespace tellurine::shell
