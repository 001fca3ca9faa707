#include "Cli.h"
#include "CliArguments.h"
#include "CliDatabase.h"
#include "JsonDump.h"
#include "base/Numbers.h"
#include "geo/CoordinateRange.h"
#include "geo/WebMercator.h"
#include "maps/CalibrationImport.h"
#include "maps/MapDatabase.h"
#include "maps/MapPageModel.h"
#include "maps/TileFallback.h"
#include "maps/TileSources.h"
#include "maps/TrackLoader.h"
#include "settings/DataDirectory.h"

#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QString>

#include <cerrno>
#include <cmath>
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
    "       veloran-cli maps add TILES [--name TEXT] [--xyz | --tms] [DATABASE]\n"
    "       veloran-cli maps locate LAT LON [--json] [DATABASE]\n"
    "       veloran-cli maps track LOG [--map INDEX] [--reception] [--gnss all|gps] [--json]\n"
    "                                 [DATABASE]\n"
    "       veloran-cli maps tile MAP LAT LON ZOOM --png OUT [DATABASE]\n"
    "\n"
    "Works on the map database the window uses.\n"
    "\n"
    "  list    one line per map: index, name, file, size, calibrated or not, pair count, and\n"
    "          for a tile source its kind (mbtiles or folder) and zooms; with --json one object\n"
    "          per line with the pairs themselves (and \"kind\", \"minZoom\", \"maxZoom\")\n"
    "  add     appends a map of IMAGE (its absolute path, its size read from the image, named\n"
    "          after the file unless --name) and saves the database; each --ref adds a\n"
    "          reference pair in the order given, the first and the last calibrate the map;\n"
    "          --calibration takes the pairs from an Ozi .map file, a world file or a KML\n"
    "          file fitted to the image instead; TILES is a tile source instead, calibrated by\n"
    "          its tiles: an MBTiles file (raster: PNG, JPEG or WebP), or a folder of\n"
    "          ZOOM/X/Y.png (or .jpg, .jpeg, .webp) tiles or its template DIR/{z}/{x}/{y}.png\n"
    "          ({-y} for rows counted from the south); --xyz and --tms say how the folder counts\n"
    "          its rows (by default TMS when it holds a tilemapresource.xml, else XYZ), and the\n"
    "          name is the MBTiles name or the file or folder name unless --name\n"
    "  locate  per map the pixel of the position and whether the map contains it, then the\n"
    "          map the window would choose by itself; for a tile source also the tile of its most\n"
    "          detailed zoom holding the position and the pixel in that tile (with --json\n"
    "          \"zoom\", \"x\" and \"y\" name the tile, \"pixelX\" and \"pixelY\" the pixel,\n"
    "          \"mapX\" and \"mapY\" the map pixel)\n"
    "  track   the track points (pixel and colour) of an NMEA log on map INDEX (default 0),\n"
    "          as Load Track draws them in the yellow marker colour; --reception colours by\n"
    "          reception; --gnss reads the log with all satellite systems (the default) or\n"
    "          GPS only\n"
    "  tile    writes to the PNG file OUT the 256x256 tile (XYZ) of tile source MAP (its name\n"
    "          or index) at ZOOM holding the position: the stored tile, or where ZOOM has none\n"
    "          there, the part of the nearest stored less detailed tile covering it, scaled up\n"
    "          (nearest pixel); prints which tile was used\n"
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
    bool xyz = false;
    bool tms = false;
    std::optional<std::string> png;
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
        return UsageError("maps: missing list, add, locate, track or tile (try --help)");
    options.command = std::string(args.front());
    const std::string &command = options.command;
    if (command != "list" && command != "add" && command != "locate" && command != "track"
        && command != "tile")
        return UsageError("maps: unknown command '" + command
                          + "' (list, add, locate, track or tile)");
    std::vector<CCliOption> table = DatabaseOptions(options.where);
    if (command != "add" && command != "tile")
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
        table.push_back(FlagOption("--xyz", options.xyz));
        table.push_back(FlagOption("--tms", options.tms));
    }
    if (command == "tile")
        table.push_back(TextOption("--png", "a file", options.png));
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
                                           && !((command == "locate" || command == "tile")
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
    if (options.xyz && options.tms)
        return UsageError("maps add: --xyz and --tms exclude each other");
    const std::size_t expected = command == "list"     ? 0
                                 : command == "locate" ? 2
                                 : command == "tile"   ? 4
                                                       : 1;
    if (options.arguments.size() != expected) {
        static const char *const kWhat[] = {"no argument", "IMAGE", "LAT and LON", "LOG",
                                            "MAP, LAT, LON and ZOOM"};
        const int what = command == "list"     ? 0
                         : command == "add"    ? 1
                         : command == "locate" ? 2
                         : command == "track"  ? 3
                                               : 4;
        return UsageError("maps " + command + ": expected " + kWhat[what]);
    }
    if (command == "tile" && !options.png)
        return UsageError("maps tile: expected --png OUT");
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

// ---- Tile sources (MBTiles files and tile folders)

// The kind and the stored zooms of a tile source's record; the least detailed zoom is read from
// the source, -1 when it cannot be opened.
struct CTileSourceZooms {
    const char *kind = nullptr;
    int minZoom = -1;
    int maxZoom = 0;
    std::string error;
};

CTileSourceZooms ZoomsOfMap(const CMapInfo &map)
{
    CTileSourceZooms zooms;
    const TileSourceKind kind = TileSourceKindOfPath(map.m_file);
    if (kind == TileSourceKind::None)
        return zooms;
    zooms.kind = kind == TileSourceKind::MBTiles ? "mbtiles" : "folder";
    zooms.maxZoom = map.m_tileZoom;
    if (const std::unique_ptr<CTilePyramid> pyramid = OpenTilePyramid(map, zooms.error))
        zooms.minZoom = map.m_tileZoom - static_cast<int>(pyramid->GetLevels().size()) + 1;
    return zooms;
}

std::string TileSourceColumns(const CMapInfo &map)
{
    const CTileSourceZooms zooms = ZoomsOfMap(map);
    if (zooms.kind == nullptr)
        return {};
    if (zooms.minZoom < 0)
        return std::string("\t") + zooms.kind + "\tunreadable: " + OneLine(zooms.error);
    return FormatC("\t%s\tzooms %d-%d", zooms.kind, zooms.minZoom, zooms.maxZoom);
}

std::string TileSourceJson(const CMapInfo &map)
{
    const CTileSourceZooms zooms = ZoomsOfMap(map);
    if (zooms.kind == nullptr)
        return {};
    std::string out = std::string(",\"kind\":\"") + zooms.kind + "\",\"minZoom\":"
                      + (zooms.minZoom < 0 ? "null" : std::to_string(zooms.minZoom))
                      + ",\"maxZoom\":" + std::to_string(zooms.maxZoom);
    if (zooms.minZoom < 0) {
        out += ",\"error\":";
        AppendJsonText(out, zooms.error);
    }
    return out;
}

bool IsTileSourcePath(const std::string &path)
{
    std::error_code ignored;
    return TileSourceKindOfPath(path) != TileSourceKind::None
           || std::filesystem::is_directory(path, ignored);
}

// The tile a tile source's map draws at its most detailed zoom for a position, as locate
// prints it: text columns or JSON members.
std::string LocateTile(const CMapInfo &map, const CGeoPosition &position, CMapPoint pixel,
                       bool calibrated, bool json)
{
    CTileAddress tile;
    const bool inWorld =
        calibrated
        && TileOfPosition(position.m_latitude, position.m_longitude, map.m_tileZoom, tile);
    if (!json)
        return inWorld ? FormatC("\ttile %d/%d/%d pixel %d %d", tile.zoom, tile.column, tile.row,
                                 tile.pixelX, tile.pixelY)
                       : "\tno tile";
    const std::string mapX = calibrated ? std::to_string(pixel.x) : "null";
    const std::string mapY = calibrated ? std::to_string(pixel.y) : "null";
    if (!inWorld)
        return ",\"zoom\":null,\"x\":null,\"y\":null,\"pixelX\":null,\"pixelY\":null,\"mapX\":"
               + mapX + ",\"mapY\":" + mapY;
    return FormatC(",\"zoom\":%d,\"x\":%d,\"y\":%d,\"pixelX\":%d,\"pixelY\":%d", tile.zoom,
                   tile.column, tile.row, tile.pixelX, tile.pixelY)
           + ",\"mapX\":" + mapX + ",\"mapY\":" + mapY;
}

int AddTileSource(const COptions &options)
{
    const std::string &path = options.arguments.front();
    if (options.calibration || !options.refs.empty())
        return UsageError("maps add: a tile source is calibrated by its tiles (no --ref or "
                          "--calibration)");
    const TileRowOrder order = options.xyz   ? TileRowOrder::XYZ
                               : options.tms ? TileRowOrder::TMS
                                             : TileRowOrder::Detect;
    const CTileSourceInfo info = DescribeTileSource(path, order);
    if (!info.ok)
        return FileError("cannot add", path, info.error);
    if (order != TileRowOrder::Detect && info.kind == TileSourceKind::MBTiles)
        return UsageError("maps add: --xyz and --tms are for tile folders; MBTiles rows are "
                          "always TMS");
    CDatabase database;
    if (const int status = database.Open(options); status != kExitOk)
        return status;
    CMapInfo map = TileSourceMap(info);
    if (options.name)
        map.m_name = *options.name;
    CMapList all = database.m_items;
    all.push_back(map);
    if (CheckMapLimits(all) != 0)
        return FileError("cannot add", path,
                         "the map database would hold more than a reader takes (" + kMapLimits
                             + "); nothing changed");
    const std::string report = FormatC(
        "map %zu added: %s, %s %s zooms %d-%d, %dx%d, %s\n", database.m_items.size(),
        OneLine(map.m_name).c_str(), info.kind == TileSourceKind::MBTiles ? "mbtiles" : "folder",
        info.format.c_str(), info.minZoom, info.maxZoom, map.m_width, map.m_height,
        map.IsCalibrated() ? "calibrated" : "uncalibrated");
    if (const int status = WriteReport(report); status != kExitOk)
        return status;
    return database.Save({map});
}

// MAP as a name first, else as an index; -1 when neither.
int FindMap(const CMapList &maps, const std::string &text)
{
    for (std::size_t i = 0; i < maps.size(); ++i)
        if (maps[i].m_name == text)
            return static_cast<int>(i);
    std::int32_t index = -1;
    if (ParseIntegerArgument(text, index) && index >= 0
        && static_cast<std::size_t>(index) < maps.size())
        return index;
    return -1;
}

// The window's pixels of `tile` inside `image`, 256 pixels square; a window finer than a pixel
// takes the pixel holding it.
QImage TileImage(const QImage &image, const CTileWindow &window)
{
    if (window.x == 0.0 && window.y == 0.0 && window.width == image.width()
        && window.height == image.height())
        return image;
    const QRect part(static_cast<int>(std::floor(window.x)), static_cast<int>(std::floor(window.y)),
                     std::max(1, static_cast<int>(window.width)),
                     std::max(1, static_cast<int>(window.height)));
    return image.copy(part).scaled(kTilePixels, kTilePixels, Qt::IgnoreAspectRatio,
                                   Qt::FastTransformation);
}

int Tile(const COptions &options)
{
    const std::string &mapText = options.arguments[0];
    double lat = 0.0, lon = 0.0;
    std::int32_t zoom = 0;
    if (!ParseNumberArgument(options.arguments[1], lat)
        || !ParseNumberArgument(options.arguments[2], lon))
        return UsageError("maps tile: LAT and LON must be numbers");
    if (!IsValidCoordinate(lat, lon))
        return UsageError("maps tile: LAT must lie in -90..90 and LON in -180..180");
    if (!ParseIntegerArgument(options.arguments[3], zoom) || zoom < 0 || zoom > kMaxTileZoom)
        return UsageError("maps tile: ZOOM must be a whole number from 0 to "
                          + std::to_string(kMaxTileZoom));
    CTileAddress address;
    if (!TileOfPosition(lat, lon, zoom, address))
        return UsageError(
            FormatC("maps tile: no tile holds a latitude beyond %.4f", kMercatorMaxLatitude));
    CDatabase database;
    if (const int status = database.Open(options); status != kExitOk)
        return status;
    const int index = FindMap(database.m_items, mapText);
    if (index < 0)
        return UsageError("maps tile: no map named '" + mapText + "' and no map of that index");
    const CMapInfo &map = database.m_items[static_cast<std::size_t>(index)];
    std::string error;
    const std::unique_ptr<CTilePyramid> pyramid = OpenTilePyramid(map, error);
    if (!pyramid) {
        if (error.empty())
            return UsageError("maps tile: map " + std::to_string(index) + " is no tile source");
        return FileError("cannot open the tile source", map.m_file, error);
    }
    const CTileLevel wanted = TileSourceLevel(zoom, map.m_tileZoom, map.m_offsetX, map.m_offsetY);
    CTileWindow window;
    CTileData data;
    const TileRead read =
        ReadTileOrParent(*pyramid, wanted, address.column, address.row, window, data, error);
    if (read == TileRead::Failed)
        return FileError("cannot read the tile source", map.m_file, error);
    if (read == TileRead::Absent)
        return FileError("cannot read the tile source", map.m_file,
                         FormatC("no tile at zoom %d or below holds that position", zoom));
    QImage image;
    if (!data.encoded.empty())
        image.loadFromData(reinterpret_cast<const uchar *>(data.encoded.data()),
                           static_cast<int>(data.encoded.size()));
    else
        image = QImage(reinterpret_cast<const uchar *>(data.argb.data()), data.width, data.height,
                       QImage::Format_ARGB32)
                    .copy();
    const int parentZoom = map.m_tileZoom - static_cast<int>(window.level);
    if (image.isNull())
        return FileError("cannot read the tile source", map.m_file,
                         FormatC("tile %d/%d/%d is no image Veloran reads", parentZoom,
                                 window.column, window.row));
    const std::string &out = *options.png;
    if (!TileImage(image, window).save(QFile::decodeName(out.c_str()), "PNG"))
        return FileError("cannot write", out, "the PNG file was not written");
    return WriteReport(FormatC("%d/%d/%d from %d/%d/%d, pixels %g,%g size %g\n", zoom,
                               address.column, address.row, parentZoom, window.column, window.row,
                               window.x, window.y, window.width));
}

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
                   + std::to_string(map.m_pairs.size()) + " pairs" + TileSourceColumns(map) + '\n';
            continue;
        }
        out += "{\"index\":" + std::to_string(i) + ",\"name\":";
        AppendJsonText(out, map.m_name);
        out += ",\"file\":";
        AppendJsonText(out, map.m_file);
        out += ",\"width\":" + std::to_string(map.m_width)
               + ",\"height\":" + std::to_string(map.m_height) + ",\"calibrated\":"
               + (map.IsCalibrated() ? "true" : "false") + TileSourceJson(map) + ",\"pairs\":[";
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

int Add(const COptions &options)
{
    const std::string &image = options.arguments.front();
    if (IsTileSourcePath(image))
        return AddTileSource(options);
    if (options.xyz || options.tms)
        return UsageError("maps add: --xyz and --tms are for tile folders");
    QImageReader reader(QFile::decodeName(image.c_str()));
    const QSize size = reader.size();
    if (!size.isValid())
        return FileError("cannot read the image", image, reader.errorString().toStdString());
    std::vector<CPositionPair> pairs = options.refs;
    std::string fit;
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
        if (map.m_projection == MapProjection::WebMercator && options.json)
            out += "{\"index\":" + std::to_string(i)
                   + LocateTile(map, position, pixel, calibrated, true)
                   + ",\"contains\":" + (contains ? "true" : "false") + "}\n";
        else if (options.json)
            out += "{\"index\":" + std::to_string(i) + ",\"x\":" + x + ",\"y\":" + y
                   + ",\"contains\":" + (contains ? "true" : "false") + "}\n";
        else if (map.m_projection == MapProjection::WebMercator)
            out += std::to_string(i) + '\t' + OneLine(map.m_name) + '\t'
                   + (calibrated ? x + ' ' + y + (contains ? "\tcontains" : "\toutside")
                                 : "uncalibrated")
                   + LocateTile(map, position, pixel, calibrated, false) + '\n';
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
    if (options.command == "tile")
        return Tile(options);
    return Track(options);
}
