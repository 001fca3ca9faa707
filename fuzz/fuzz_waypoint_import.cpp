// GPX and LOC import on arbitrary bytes, and the export of whatever it read: the export must
// load again with every waypoint, and from the second round on export and import must agree
// exactly (texts are XML-safe and line ends normalised by then).
#include "waypoints/WaypointExchange.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    for (const WaypointFileType type : {WaypointFileType::GPX, WaypointFileType::LOC}) {
        const CImportResult first = ImportWaypointsFromText(text, type);
        if (first.status != ImportStatus::Ok) {
            if (first.detail.empty() || !first.waypoints.empty())
                __builtin_trap();
            continue;
        }
        const CImportResult second =
            ImportWaypointsFromText(ExportGPX(first.waypoints), WaypointFileType::GPX);
        if (second.status != ImportStatus::Ok || second.waypoints.size() != first.waypoints.size())
            __builtin_trap();
        const std::string again = ExportGPX(second.waypoints);
        const CImportResult third = ImportWaypointsFromText(again, WaypointFileType::GPX);
        if (third.status != ImportStatus::Ok || ExportGPX(third.waypoints) != again)
            __builtin_trap();
    }
    return 0;
}
