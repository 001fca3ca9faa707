#include "receiver/LastSpeed.h"

#include "settings/SettingsKey.h"
#include "settings/SettingsTable.h"

#include <cstdint>

std::string LastSpeedName(std::string_view device)
{
    constexpr const char *kHex = "0123456789ABCDEF";
    std::string name;
    for (const char c : device) {
        const auto byte = static_cast<unsigned char>(c);
        if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_'
            || c == '-') {
            name += c;
        } else {
            name += '.';
            name += kHex[byte >> 4];
            name += kHex[byte & 0xF];
        }
    }
    return name;
}

std::optional<int> LoadLastSpeed(std::string_view device)
{
    if (device.empty())
        return std::nullopt;
    CSettingsKey key;
    std::int32_t speed = 0;
    if (!key.Open(kLastSpeedsKey, false) || !key.ReadNumber(LastSpeedName(device), speed)
        || speed <= 0)
        return std::nullopt;
    return speed;
}

void StoreLastSpeed(std::string_view device, int speed)
{
    if (device.empty() || speed <= 0)
        return;
    CSettingsKey key;
    if (key.Open(kLastSpeedsKey, true))
        key.WriteNumber(LastSpeedName(device), speed);
}
