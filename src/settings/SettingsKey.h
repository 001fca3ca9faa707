#pragma once

#include "settings/SettingsTable.h"

#include <QSettings>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

/// One key of the settings tree ("Software/Veloran", "Software/Veloran/SerialPort", ...),
/// kept in an INI file: numbers as integers, texts as strings, doubles and colour triples.
///
/// A key that cannot be opened makes every read fail (the owner keeps its default) and every
/// write a no-op; a file that is unreadable, not valid or larger than kMaxFileBytes behaves the
/// same and is never touched. TakeProblem() says why, once, for the user to be told.
class CSettingsKey
{
public:
    /// The settings file every key opens: <dir>/veloran.ini, with dir from the command line
    /// (`--config-dir`), else VELORAN_CONFIG_DIR, else the XDG config location + "/Veloran".
    /// Call once at start (tests: with their own temporary directory).
    static void SetConfigDirectory(const std::string &commandLineDir);
    [[nodiscard]] static std::string GetSettingsFile();
    /// Why the settings file cannot be used ("<path>: it is not a valid settings file"); given
    /// once after it was found, empty otherwise.
    [[nodiscard]] static std::string TakeProblem();

    /// Settings are a few hundred bytes; a file larger than this is no settings file of ours.
    static constexpr long long kMaxFileBytes = 1 << 20;

    CSettingsKey();
    ~CSettingsKey();
    CSettingsKey(const CSettingsKey &) = delete;
    CSettingsKey &operator=(const CSettingsKey &) = delete;

    /// Opens `path` ("Software/Veloran/SerialPort"); with `create`, a missing key is created.
    bool Open(std::string_view path, bool create);

    /// True when the value exists and has the right kind; `value` is untouched otherwise.
    bool ReadNumber(std::string_view name, std::int32_t &value) const;
    bool ReadDouble(std::string_view name, double &value) const;
    bool ReadColor(std::string_view name, std::array<int, 3> &rgb) const;
    /// The stored text, or `fallback`.
    [[nodiscard]] std::string ReadText(std::string_view name, std::string_view fallback) const;
    /// The stored text; nothing when the value is missing.
    [[nodiscard]] std::optional<std::string> ReadText(std::string_view name) const;

    void WriteNumber(std::string_view name, std::int32_t value);
    void WriteDouble(std::string_view name, double value);
    void WriteColor(std::string_view name, const std::array<int, 3> &rgb);
    void WriteText(std::string_view name, std::string_view text);

private:
    std::unique_ptr<QSettings> m_settings; // null while not open
    QString m_group;
};
