#include "Cli.h"
#include "CliArguments.h"
#include "CliDatabase.h"
#include "JsonDump.h"
#include "base/Numbers.h"
#include "geo/CoordinateRange.h"
#include "maps/CalibrationImport.h"
#include "maps/GeoTiff.h"
#include "maps/MapDatabase.h"
#include "maps/MapPageModel.h"
#include "maps/TrackLoader.h"
#include "settings/DataDirectory.h"

#include <QFile>
#include <QImageReader>
#include <QString>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace
{

constexpr const char *kMapsHelp =
    "usage: veloran-cli maps list [--json] [DATABASE]\n"
    "       veloran-cli maps add IMAGE [--name TEXT] [--ref NAME:X,Y:LAT,LON]...\n"
    "                               [--calibration FILE] [DATABASE]\n"
    "       veloran-cli maps locate LAT LON [--json] [DATABASE]\n"
    "       veloran-cli maps track LOG [--map INDEX] [--reception] [--gnss all|gps] [--json]\n"
    "                                 [DATABASE]\n"
    "\n"
    "Works on the map database the window uses.\n"
    "\n"
    "  list    one line per map: index, name, file, size, calibrated or not, pair count; with\n"
    "          --json one object per line with the pairs themselves\n"
    "  add     appends a map of IMAGE (its absolute path, its size read from the image, named\n"
    "          after the file unless --name) and saves the database; each --ref adds a\n"
    "          reference pair in the order given, the first and the last calibrate the map;\n"
    "          --calibration takes the pairs from an Ozi .map file, a world file or a KML\n"
    "          file fitted to the image instead; a GeoTIFF without either is calibrated from\n"
    "          the georeferencing inside it (WGS 84 latitude/longitude or UTM)\n"
    "  locate  per map the pixel of the position and whether the map contains it, then the\n"
    "          map the window would choose by itself\n"
    "  track   the track points (pixel and colour) of an NMEA log on map INDEX (default 0),\n"
    "          as Load Track draws them in the yellow marker colour; --reception colours by\n"
    "          reception; --gnss reads the log with all satellite systems (the default) or\n"
    "          GPS only\n"
    "\n"
    "DATABASE is one of:\n"
    "  --db FILE      this database file\n"
    "  --data-dir DIR MapInfo.gdb in DIR (read from Worldmap.gdb while it is missing)\n"
    "  (neither)      the same in $VELORAN_DATA_DIR, else ~/Documents/Veloran\n";

// The window's marker colour as first started (red and green on: yellow).
constexpr CRgb kMarkerColour{255, 255, 0};

struct COptions {
    std::string command;
    std::vector<std::string> arguments;
    CDatabaseChoice where;
    std::optional<std::string> name;
    std::vector<CPositionPair> refs;
    std::optional<std::string> calibration;
    int mapIndex = 0;
    bool reception = false;
    GnssMode gnss = GnssMode::AllSystems;
    bool json = false;
};

// "A,B" split at its only comma.
bool SplitComma(std::string_view text, std::string_view &a, std::string_view &b)
{
    const std::size_t comma = text.find(',');
    if (comma == std::string_view::npos || text.find(',', comma + 1) != std::string_view::npos)
        return false;
    a = text.substr(0, comma);
    b = text.substr(comma + 1);
    return true;
}

// NAME:X,Y:LAT,LON; the name may hold colons of its own.
bool ParseRef(std::string_view text, CPositionPair &pair)
{
    const std::size_t second = text.rfind(':');
    if (second == std::string_view::npos || second == 0)
        return false;
    const std::size_t first = text.rfind(':', second - 1);
    if (first == std::string_view::npos)
        return false;
    std::string_view x, y, lat, lon;
    double latitude = 0.0, longitude = 0.0;
    if (!SplitComma(text.substr(first + 1, second - first - 1), x, y)
        || !SplitComma(text.substr(second + 1), lat, lon)
        || !ParseIntegerArgument(x, pair.m_point.x) || !ParseIntegerArgument(y, pair.m_point.y)
        || !ParseNumberArgument(lat, latitude) || !ParseNumberArgument(lon, longitude)
        || !IsValidCoordinate(latitude, longitude))
        return false;
    pair.m_name = std::string(text.substr(0, first));
    pair.m_position = CGeoPosition(latitude, longitude, 0.0);
    return true;
}

// 0 when parsed; else the exit status of the usage error already reported.
int ParseOptions(const std::vector<std::string_view> &args, COptions &options)
{
    if (args.empty())
        return UsageError("maps: missing list, add, locate or track (try --help)");
    options.command = std::string(args.front());
    const std::string &command = options.command;
    if (command != "list" && command != "add" && command != "locate" && command != "track")
        return UsageError("maps: unknown command '" + command + "' (list, add, locate or track)");
    std::vector<CCliOption> table = DatabaseOptions(options.where);
    if (command != "add")
        table.push_back(FlagOption("--json", options.json));
    if (command == "add") {
        table.push_back(TextOption("--name", "a text", options.name));
        table.push_back(
            {"--ref", "NAME:X,Y:LAT,LON", [&options](std::string_view value, std::string &error) {
                 CPositionPair pair;
                 if (!ParseRef(value, pair)) {
                     error = "maps add: bad --ref '" + std::string(value)
                             + "' (NAME:X,Y:LAT,LON, whole pixels, latitude -90 to 90, "
                               "longitude -180 to 180)";
                     return false;
                 }
                 options.refs.push_back(std::move(pair));
                 return true;
             }});
        table.push_back(TextOption("--calibration", "a calibration file", options.calibration));
    }
    if (command == "track") {
        table.push_back(IntegerOption<std::int32_t>("--map", "a map index", options.mapIndex,
                                                    "maps track: bad map index", 0));
        table.push_back(FlagOption("--reception", options.reception));
        table.push_back(GnssOption(options.gnss, "maps track: --gnss needs all or gps"));
    }
    const CCliSyntax syntax{.command = "maps",
                            .usage = "maps " + command,
                            .options = std::move(table),
                            // Where a position is wanted, a negative number is one.
                            .isOption =
                                [&command](std::string_view a) {
                                    double number = 0.0;
                                    return LooksLikeOption(a)
                                           && !(command == "locate"
                                                && ParseNumberArgument(a, number));
                                },
                            .operand =
                                [&options](std::string_view a) {
                                    if (a.empty())
                                        return UsageError("maps: empty argument");
                                    options.arguments.emplace_back(a);
                                    return kExitOk;
                                }};
    if (const std::optional<int> status = ReadArguments(args, 1, syntax))
        return *status;
    if (options.where.db && options.where.dataDir)
        return UsageError("maps: --db and --data-dir exclude each other");
    if (options.calibration && !options.refs.empty())
        return UsageError("maps add: --ref and --calibration exclude each other");
    if (const std::string problem = CalibrationProblem(options.refs); !problem.empty())
        return UsageError("maps add: " + problem + ": they give no scale");
    const std::size_t expected = command == "list" ? 0 : command == "locate" ? 2 : 1;
    if (options.arguments.size() != expected) {
        static const char *const kWhat[] = {"no argument", "IMAGE", "LAT and LON", "LOG"};
        const int what = command == "list" ? 0 : command == "add" ? 1 : command == "locate" ? 2 : 3;
        return UsageError("maps " + command + ": expected " + kWhat[what]);
    }
    return kExitOk;
}

const std::string kMapLimits = "at most " + std::to_string(kMaxMaps) + " maps of at most "
                               + std::to_string(kMaxMapPairs) + " reference pairs and "
                               + std::to_string(kMaxMapFileBytes >> 20) + " MiB";

const CDatabaseKind<CMapLoad, CMapList> kMapDatabase = {
    kMapFileName, kWorldmapFileName, LoadMapFile, &CMapLoad::maps, MapCodec, kMapLimits.c_str()};

// The map database of the command line; for an add an empty one starts where no file is yet.
struct CDatabase : CCliDatabase<CMapLoad, CMapList> {
    CDatabase()
        : CCliDatabase(kMapDatabase)
    {
    }
    int Open(const COptions &options)
    {
        return CCliDatabase::Open(options.where, options.command == "add",
                                  options.command == "list");
    }
};

int List(const COptions &options)
{
    CDatabase database;
    if (const int status = database.Open(options); status != kExitOk)
        return status;
    std::string out;
    for (std::size_t i = 0; i < database.m_items.size(); ++i) {
        const CMapInfo &map = database.m_items[i];
        if (!options.json) {
            out += std::to_string(i) + '\t' + OneLine(map.m_name) + '\t' + OneLine(map.m_file)
                   + '\t' + std::to_string(map.m_width) + 'x' + std::to_string(map.m_height)
                   + (map.IsCalibrated() ? "\tcalibrated\t" : "\tuncalibrated\t")
                   + std::to_string(map.m_pairs.size()) + " pairs\n";
            continue;
        }
        out += "{\"index\":" + std::to_string(i) + ",\"name\":";
        AppendJsonText(out, map.m_name);
        out += ",\"file\":";
        AppendJsonText(out, map.m_file);
        out += ",\"width\":" + std::to_string(map.m_width)
               + ",\"height\":" + std::to_string(map.m_height)
               + ",\"calibrated\":" + (map.IsCalibrated() ? "true" : "false") + ",\"pairs\":[";
        for (const CPositionPair &pair : map.m_pairs) {
            out += &pair == map.m_pairs.data() ? "{\"name\":" : ",{\"name\":";
            AppendJsonText(out, pair.m_name);
            out += ",\"x\":" + std::to_string(pair.m_point.x)
                   + ",\"y\":" + std::to_string(pair.m_point.y) + ",\"lat\":";
            AppendJsonDegrees(out, pair.m_position.m_latitude);
            out += ",\"lon\":";
            AppendJsonDegrees(out, pair.m_position.m_longitude);
            out += '}';
        }
        out += "]}\n";
    }
    std::fwrite(out.data(), 1, out.size(), stdout);
    return database.IsDamaged() ? kExitFile : kExitOk;
}

// The pairs of a GeoTIFF's own georeferencing; none for a TIFF without any. A misfit asks as an
// imported calibration file's does.
int CalibrateFromGeoTiff(const std::string &image, std::vector<CPositionPair> &pairs,
                         std::string &fit)
{
    bool georeferenced = false;
    CCalibrationImport import = ImportGeoTiffFile(image, georeferenced);
    if (!georeferenced)
        return kExitOk;
    if (!import.ok)
        return FileError("cannot calibrate from the georeferencing of", image, import.error);
    if (const std::string problem = CalibrationProblem(import.pairs); !problem.empty())
        return FileError("cannot calibrate from the georeferencing of", image, problem);
    pairs = std::move(import.pairs);
    fit = FormatC("calibration from the GeoTIFF: worst misfit %.2f pixels, %.1f m\n",
                  import.maxErrorPixels, import.maxErrorMetres);
    if (NeedsConfirmation(import))
        std::fprintf(stderr,
                     "veloran-cli: warning: the georeferencing of '%s' is not a plain "
                     "latitude/longitude grid: positions may be off by more than 2 pixels\n",
                     image.c_str());
    return kExitOk;
}

int Add(const COptions &options)
{
    const std::string &image = options.arguments.front();
    std::vector<CPositionPair> pairs = options.refs;
    std::string fit;
    if (!options.calibration && options.refs.empty() && IsTiffPath(image))
        if (const int status = CalibrateFromGeoTiff(image, pairs, fit); status != kExitOk)
            return status;
    // Qt's reader would warn of them as unknown.
    RegisterGeoTiffTags();
    QImageReader reader(QFile::decodeName(image.c_str()));
    const QSize size = reader.size();
    if (!size.isValid())
        return FileError("cannot read the image", image, reader.errorString().toStdString());
    if (options.calibration) {
        CCalibrationImport import =
            ImportCalibrationFile(*options.calibration, size.width(), size.height());
        if (!import.ok)
            return FileError("cannot import the calibration", *options.calibration, import.error);
        if (const std::string problem = CalibrationProblem(import.pairs); !problem.empty())
            return FileError("cannot import the calibration", *options.calibration, problem);
        pairs = std::move(import.pairs);
        fit = FormatC("calibration: %d points, worst misfit %.2f pixels, %.1f m\n",
                      import.sourcePoints, import.maxErrorPixels, import.maxErrorMetres);
        if (NeedsConfirmation(import))
            std::fprintf(stderr,
                         "veloran-cli: warning: the calibration misses a point of '%s' "
                         "by more than 2 pixels\n",
                         options.calibration->c_str());
    }
    CDatabase database;
    if (const int status = database.Open(options); status != kExitOk)
        return status;

    CMapInfo map;
    std::error_code ignored;
    map.m_file = std::filesystem::absolute(image, ignored).lexically_normal().string();
    map.m_name = options.name ? *options.name : MapNameOfFile(map.m_file);
    map.m_width = size.width();
    map.m_height = size.height();
    map.m_pairs = std::move(pairs);
    map.Calibrate();
    CMapList all = database.m_items;
    all.push_back(map);
    if (CheckMapLimits(all) != 0)
        return FileError("cannot add", image,
                         "the map database would hold more than a reader takes (" + kMapLimits
                             + "); nothing changed");
    // Reported before the save (the database is locked, so the index holds): an output that
    // takes nothing stops the command with the database unchanged.
    const std::string report = FormatC("map %zu added: %s, %dx%d, %s\n", database.m_items.size(),
                                       OneLine(map.m_name).c_str(), map.m_width, map.m_height,
                                       map.IsCalibrated() ? "calibrated" : "uncalibrated")
                               + fit;
    if (const int status = WriteReport(report); status != kExitOk)
        return status;
    return database.Save({map});
}

int Locate(const COptions &options)
{
    double lat = 0.0, lon = 0.0;
    if (!ParseNumberArgument(options.arguments[0], lat)
        || !ParseNumberArgument(options.arguments[1], lon))
        return UsageError("maps locate: LAT and LON must be numbers");
    if (!IsValidCoordinate(lat, lon))
        return UsageError("maps locate: LAT must lie in -90..90 and LON in -180..180");
    CDatabase database;
    if (const int status = database.Open(options); status != kExitOk)
        return status;
    const CGeoPosition position(lat, lon, 0.0);
    std::string out;
    for (std::size_t i = 0; i < database.m_items.size(); ++i) {
        const CMapInfo &map = database.m_items[i];
        CMapPoint pixel;
        const bool calibrated = map.PositionToPixel(position, pixel);
        const bool contains = map.ContainsPosition(position);
        const std::string x = calibrated ? std::to_string(pixel.x) : "null";
        const std::string y = calibrated ? std::to_string(pixel.y) : "null";
        if (options.json)
            out += "{\"index\":" + std::to_string(i) + ",\"x\":" + x + ",\"y\":" + y
                   + ",\"contains\":" + (contains ? "true" : "false") + "}\n";
        else
            out += std::to_string(i) + '\t' + OneLine(map.m_name) + '\t'
                   + (calibrated ? x + ' ' + y + (contains ? "\tcontains" : "\toutside")
                                 : "uncalibrated")
                   + '\n';
    }
    const int chosen = SelectMapForPosition(database.m_items, position);
    if (options.json)
        out += "{\"chosen\":" + (chosen < 0 ? "null" : std::to_string(chosen)) + "}\n";
    else
        out += "chosen: " + (chosen < 0 ? "none" : std::to_string(chosen)) + '\n';
    std::fwrite(out.data(), 1, out.size(), stdout);
    return kExitOk;
}

int Track(const COptions &options)
{
    CDatabase database;
    if (const int status = database.Open(options); status != kExitOk)
        return status;
    if (static_cast<std::size_t>(options.mapIndex) >= database.m_items.size())
        return UsageError("maps track: no map " + std::to_string(options.mapIndex) + " (there are "
                          + std::to_string(database.m_items.size()) + ")");
    const std::string &log = options.arguments.front();
    std::vector<CTrackPoint> points;
    if (const int error = LoadTrackFile(log, database.m_items[options.mapIndex], options.reception,
                                        kMarkerColour, points, options.gnss);
        error != 0)
        return FileError(kTrackFileFailedMessage, log, std::strerror(error));
    std::string out;
    for (const CTrackPoint &p : points) {
        const std::string colour = FormatC("#%02x%02x%02x", p.colour.r, p.colour.g, p.colour.b);
        if (options.json)
            out += "{\"x\":" + std::to_string(p.point.x) + ",\"y\":" + std::to_string(p.point.y)
                   + ",\"colour\":\"" + colour + "\"}\n";
        else
            out +=
                std::to_string(p.point.x) + ' ' + std::to_string(p.point.y) + ' ' + colour + '\n';
    }
    std::fwrite(out.data(), 1, out.size(), stdout);
    return kExitOk;
}

} // namespace

int RunMaps(const std::vector<std::string_view> &args)
{
    if (PrintHelpIfAsked(args, kMapsHelp))
        return kExitOk;
    COptions options;
    if (const int status = ParseOptions(args, options); status != kExitOk)
        return status;
    if (options.command == "list")
        return List(options);
    if (options.command == "add")
        return Add(options);
    if (options.command == "locate")
        return Locate(options);
    return Track(options);
}
