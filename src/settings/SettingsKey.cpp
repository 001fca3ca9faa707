#include "settings/SettingsKey.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QStringList>

#include <charconv>
#include <mutex>
#include <optional>
#include <utility>

namespace
{

constexpr const char *kFileName = "veloran.ini";
constexpr const char *kDirectoryVariable = "VELORAN_CONFIG_DIR";
constexpr int kColorMax = 255;

struct SSettingsFile {
    std::mutex mutex;
    std::string path;
    bool resolved = false;
    // QSettings shares one parsed copy of a file between all its objects in the process and
    // tells only the first one that the file is broken; remember it for the others, until the
    // file changes.
    std::optional<std::pair<qint64, QDateTime>> broken;
    std::string problem; // guarded: why the file cannot be used, until it is taken
    bool problemTaken = false;
};

SSettingsFile &SettingsFile()
{
    static SSettingsFile file;
    return file;
}

std::string ResolveSettingsFile(const std::string &commandLineDir)
{
    QString dir = QString::fromStdString(commandLineDir);
    if (dir.isEmpty())
        dir = qEnvironmentVariable(kDirectoryVariable);
    if (dir.isEmpty()) {
        const QString base =
            QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
        // No home directory at all: better no settings than a file in the root directory.
        if (base.isEmpty())
            return {};
        dir = base + QStringLiteral("/Veloran");
    }
    // A failure shows up later: keys do not open, and the owners keep their defaults.
    QDir().mkpath(dir);
    return QDir(dir).absoluteFilePath(QString::fromLatin1(kFileName)).toStdString();
}

QString ToQString(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

// Paths may come with backslashes ("Software\Veloran"); QSettings separates with '/'.
QString GroupPath(std::string_view path)
{
    QString group = ToQString(path);
    group.replace(QLatin1Char('\\'), QLatin1Char('/'));
    return group;
}

// Values come back as text from the file, but typed (int, list) from QSettings' in-process
// cache or from hand edits; reading them all as text keeps both paths alike.
std::optional<QString> ValueText(const QVariant &value)
{
    if (!value.isValid())
        return std::nullopt;
    if (value.typeId() == QMetaType::QStringList)
        return value.toStringList().join(QLatin1Char(','));
    if (!value.canConvert<QString>())
        return std::nullopt;
    return value.toString();
}

template <class T> bool ParseExact(const QString &text, T &value)
{
    const QByteArray bytes = text.toUtf8();
    const char *end = bytes.constData() + bytes.size();
    T parsed{};
    const auto [ptr, ec] = std::from_chars(bytes.constData(), end, parsed);
    if (ec != std::errc() || ptr != end)
        return false;
    value = parsed;
    return true;
}

void NoteProblem(const QString &fileName, const char *reason)
{
    SSettingsFile &file = SettingsFile();
    const std::lock_guard lock(file.mutex);
    if (file.problem.empty())
        file.problem = fileName.toStdString() + ": " + reason;
}

// A broken file is refused before any write could replace it with the part that parsed.
bool ParsesCleanly(const QString &fileName, const QFileInfo &info)
{
    if (!info.exists())
        return true;
    SSettingsFile &file = SettingsFile();
    const std::lock_guard lock(file.mutex);
    const std::pair signature{info.size(), info.lastModified()};
    if (file.broken == signature)
        return false;
    QSettings settings(fileName, QSettings::IniFormat);
    // Sections are parsed lazily; parse them all.
    settings.allKeys();
    if (settings.status() == QSettings::NoError)
        return true;
    file.broken = signature;
    return false;
}

} // namespace

void CSettingsKey::SetConfigDirectory(const std::string &commandLineDir)
{
    std::string path = ResolveSettingsFile(commandLineDir);
    SSettingsFile &file = SettingsFile();
    const std::lock_guard lock(file.mutex);
    file.path = std::move(path);
    file.resolved = true;
    file.broken.reset();
    file.problem.clear();
    file.problemTaken = false;
}

std::string CSettingsKey::TakeProblem()
{
    SSettingsFile &file = SettingsFile();
    const std::lock_guard lock(file.mutex);
    if (file.problemTaken || file.problem.empty())
        return {};
    file.problemTaken = true;
    return file.problem;
}

std::string CSettingsKey::GetSettingsFile()
{
    SSettingsFile &file = SettingsFile();
    const std::lock_guard lock(file.mutex);
    if (!file.resolved) {
        file.path = ResolveSettingsFile({});
        file.resolved = true;
    }
    return file.path;
}

CSettingsKey::CSettingsKey() = default;

CSettingsKey::~CSettingsKey()
{
    // QSettings replaces the file atomically (QSaveFile); do it now, not at some later event.
    if (m_settings)
        m_settings->sync();
}

bool CSettingsKey::Open(std::string_view path, bool create)
{
    m_settings.reset(); // its destructor writes what is pending
    m_group.clear();

    const QString fileName = QString::fromStdString(GetSettingsFile());
    if (fileName.isEmpty())
        return false;
    const QFileInfo info(fileName);
    if (info.exists() && (!info.isFile() || !info.isReadable())) {
        NoteProblem(fileName, "it cannot be read");
        return false;
    }
    if (info.exists() && info.size() > kMaxFileBytes) {
        NoteProblem(fileName, "it is larger than 1 MB");
        return false;
    }
    if (!ParsesCleanly(fileName, info)) {
        NoteProblem(fileName, "it is not a valid settings file");
        return false;
    }

    auto settings = std::make_unique<QSettings>(fileName, QSettings::IniFormat);

    const QString group = GroupPath(path);
    settings->beginGroup(group);
    const bool exists = !settings->childKeys().isEmpty() || !settings->childGroups().isEmpty();
    // An INI file has no empty sections: a created key exists once it holds a value.
    if (!exists && !(create && settings->isWritable()))
        return false;

    m_settings = std::move(settings);
    m_group = group;
    return true;
}

bool CSettingsKey::ReadNumber(std::string_view name, std::int32_t &value) const
{
    if (!m_settings)
        return false;
    const std::optional<QString> text = ValueText(m_settings->value(ToQString(name)));
    return text && ParseExact(*text, value);
}

bool CSettingsKey::ReadDouble(std::string_view name, double &value) const
{
    if (!m_settings)
        return false;
    const std::optional<QString> text = ValueText(m_settings->value(ToQString(name)));
    return text && ParseExact(*text, value);
}

bool CSettingsKey::ReadColor(std::string_view name, std::array<int, 3> &rgb) const
{
    if (!m_settings)
        return false;
    const std::optional<QString> text = ValueText(m_settings->value(ToQString(name)));
    if (!text)
        return false;
    const QStringList parts = text->split(QLatin1Char(','));
    if (parts.size() != static_cast<qsizetype>(rgb.size()))
        return false;
    std::array<int, 3> parsed{};
    for (std::size_t i = 0; i < parsed.size(); ++i) {
        const QString part = parts[static_cast<qsizetype>(i)].trimmed();
        if (!ParseExact(part, parsed[i]) || parsed[i] < 0 || parsed[i] > kColorMax)
            return false;
    }
    rgb = parsed;
    return true;
}

std::string CSettingsKey::ReadText(std::string_view name, std::string_view fallback) const
{
    if (!m_settings)
        return std::string(fallback);
    const std::optional<QString> text = ValueText(m_settings->value(ToQString(name)));
    return text ? text->toStdString() : std::string(fallback);
}

std::optional<std::string> CSettingsKey::ReadText(std::string_view name) const
{
    if (!m_settings)
        return std::nullopt;
    const std::optional<QString> text = ValueText(m_settings->value(ToQString(name)));
    if (!text)
        return std::nullopt;
    return text->toStdString();
}

void CSettingsKey::WriteNumber(std::string_view name, std::int32_t value)
{
    WriteText(name, std::to_string(value));
}

void CSettingsKey::WriteDouble(std::string_view name, double value)
{
    // Shortest text that reads back to the same double, whatever the process locale.
    char buffer[32];
    const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
    if (ec != std::errc())
        return;
    WriteText(name, std::string_view(buffer, static_cast<std::size_t>(end - buffer)));
}

void CSettingsKey::WriteColor(std::string_view name, const std::array<int, 3> &rgb)
{
    WriteText(name,
              std::to_string(rgb[0]) + ',' + std::to_string(rgb[1]) + ',' + std::to_string(rgb[2]));
}

void CSettingsKey::WriteText(std::string_view name, std::string_view text)
{
    // Kept out of the in-memory cache too, so later reads match what the file holds.
    if (!m_settings || !m_settings->isWritable())
        return;
    m_settings->setValue(ToQString(name), ToQString(text));
}
