#include "waypoints/FactoryWaypoints.h"

#include "base/Numbers.h"
#include "storage/AtomicFile.h"
#include "storage/ProgramDatabases.h"
#include "waypoints/WaypointDatabase.h"

#include <cmath>
#include <sys/stat.h>
#include <vector>

namespace
{

std::vector<std::string_view> SplitTabs(std::string_view line)
{
    std::vector<std::string_view> fields;
    for (std::size_t start = 0;;) {
        const std::size_t tab = line.find('\t', start);
        fields.push_back(line.substr(start, tab - start));
        if (tab == std::string_view::npos)
            return fields;
        start = tab + 1;
    }
}

// The whole field must be the number: "48.1x" is a typo, not 48.1.
bool ReadDegrees(std::string_view text, double limit, double &out)
{
    double value = 0.0;
    if (text.empty() || text.find_first_not_of("+-.0123456789") != std::string_view::npos
        || ScanDouble(text, value) != 1 || !std::isfinite(value) || std::fabs(value) > limit)
        return false;
    out = value;
    return true;
}

} // namespace

CWaypointList ParseCityList(std::string_view text)
{
    CWaypointList cities;
    while (!text.empty()) {
        const std::size_t newline = text.find('\n');
        std::string_view line = text.substr(0, newline);
        text = newline == std::string_view::npos ? std::string_view{} : text.substr(newline + 1);
        if (!line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        if (line.empty() || line.front() == '#')
            continue;
        const std::vector<std::string_view> fields = SplitTabs(line);
        double latitude = 0.0;
        double longitude = 0.0;
        if (fields.size() < 3 || fields[0].empty() || !ReadDegrees(fields[1], 90.0, latitude)
            || !ReadDegrees(fields[2], 180.0, longitude))
            continue;
        CWaypoint city;
        city.m_name = std::string(fields[0]);
        city.m_position = CGeoPosition(latitude, longitude, 0.0);
        city.m_radius = kCityRadiusSeconds;
        if (fields.size() > 3)
            city.m_description = std::string(fields[3]);
        cities.push_back(std::move(city));
    }
    return cities;
}

int InstallWorldpointDatabase(const std::string &directory, const CWaypointList &waypoints,
                              bool *written)
{
    if (written != nullptr)
        *written = false;
    struct stat info {
    };
    for (const char *name : {kWaypointFileName, kWorldpointFileName}) {
        if (::lstat(JoinDatabasePath(directory, name).c_str(), &info) == 0)
            return 0;
    }
    const int error = ReplaceFileAtomically(JoinDatabasePath(directory, kWorldpointFileName),
                                            EncodeWaypoints(waypoints));
    if (written != nullptr)
        *written = error == 0;
    return error;
}
