#include "maps/TileSources.h"

#include "base/Numbers.h"
#include "geo/WebMercator.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <mutex>
#include <numbers>
#include <optional>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

// Far beyond any 256-pixel tile; a larger blob or file is no tile of ours.
constexpr std::size_t kMaxTileBytes = 32u << 20;

constexpr const char *kVectorMessage =
    "the file holds vector tiles (pbf), which Veloran cannot draw: it needs raster tiles "
    "(PNG, JPEG or WebP)";

std::string Lower(std::string text)
{
    for (char &c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// "png", "jpg", "webp", "gzip" (vector tiles are gzipped protobuf), or empty.
std::string SniffFormat(std::string_view bytes)
{
    if (bytes.starts_with("\x89PNG\r\n\x1a\n"))
        return "png";
    if (bytes.starts_with("\xff\xd8\xff"))
        return "jpg";
    if (bytes.size() >= 12 && bytes.starts_with("RIFF") && bytes.substr(8, 4) == "WEBP")
        return "webp";
    if (bytes.starts_with("\x1f\x8b"))
        return "gzip";
    return {};
}

// The canonical name of an image format as MBTiles metadata or a file extension writes it.
std::string RasterFormat(std::string format)
{
    format = Lower(std::move(format));
    if (format == "jpeg")
        return "jpg";
    if (format == "png" || format == "jpg" || format == "webp")
        return format;
    return {};
}

std::optional<int> ParseWhole(std::string_view text)
{
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())))
        text.remove_prefix(1);
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())))
        text.remove_suffix(1);
    if (text.empty() || text.size() > 9 || !std::all_of(text.begin(), text.end(), [](char c) {
            return std::isdigit(static_cast<unsigned char>(c));
        }))
        return std::nullopt;
    std::int32_t value = 0;
    if (ScanInt(text, value) != 1)
        return std::nullopt;
    return value;
}

// "w,s,e,n" in degrees.
bool ParseBounds(std::string_view text, std::array<double, 4> &bounds)
{
    for (std::size_t i = 0; i < 4; ++i) {
        const std::size_t comma = text.find(',');
        if ((comma == std::string_view::npos) != (i == 3))
            return false;
        if (ScanDouble(text.substr(0, comma), bounds[i]) != 1 || !std::isfinite(bounds[i]))
            return false;
        if (comma != std::string_view::npos)
            text = text.substr(comma + 1);
    }
    return bounds[0] >= -180.0 && bounds[2] <= 180.0 && bounds[0] != bounds[2] && bounds[1] >= -90.0
           && bounds[3] <= 90.0 && bounds[1] < bounds[3];
}

void SetTileBounds(CTileSourceInfo &info, int zoom, int firstColumn, int lastColumn, int firstRow,
                   int lastRow)
{
    info.west = MercatorLongitude(static_cast<double>(firstColumn) * kTilePixels, zoom);
    info.east = MercatorLongitude((static_cast<double>(lastColumn) + 1.0) * kTilePixels, zoom);
    info.north = MercatorLatitude(static_cast<double>(firstRow) * kTilePixels, zoom);
    info.south = MercatorLatitude((static_cast<double>(lastRow) + 1.0) * kTilePixels, zoom);
}

CTileSourceInfo Failure(std::string error)
{
    CTileSourceInfo info;
    info.error = std::move(error);
    return info;
}

// ---- MBTiles

struct CDatabaseClose {
    void operator()(sqlite3 *db) const { sqlite3_close_v2(db); }
};
struct CStatementFinalize {
    void operator()(sqlite3_stmt *statement) const { sqlite3_finalize(statement); }
};
using CDatabasePtr = std::unique_ptr<sqlite3, CDatabaseClose>;
using CStatementPtr = std::unique_ptr<sqlite3_stmt, CStatementFinalize>;

std::uint32_t BigEndian(const unsigned char *p, int bytes)
{
    std::uint32_t value = 0;
    for (int i = 0; i < bytes; ++i)
        value = value << 8 | p[i];
    return value;
}

// SQLite reads a file cut short only as far as it goes, then calls the rest corrupt on first
// touch: a tile read in the middle of a pan. The header tells its size in pages, so a cut is
// found before the file is taken. `wal` tells a database in write-ahead-log mode.
std::string CheckDatabaseHeader(const std::string &path, bool &wal)
{
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return std::strerror(errno);
    struct stat status {
    };
    unsigned char header[100] = {};
    const bool stated = ::fstat(fd, &status) == 0;
    const ssize_t got =
        stated && S_ISREG(status.st_mode) ? ::pread(fd, header, sizeof header, 0) : 0;
    ::close(fd);
    if (!stated || !S_ISREG(status.st_mode))
        return "not a file";
    if (got == 0)
        return "the file is empty";
    if (std::memcmp(header, "SQLite format 3", 16) != 0)
        return "not an MBTiles file (no SQLite database)";
    if (got < static_cast<ssize_t>(sizeof header))
        return "the file is truncated";
    std::uint32_t pageSize = BigEndian(header + 16, 2);
    if (pageSize == 1)
        pageSize = 65536;
    const std::uint32_t pages = BigEndian(header + 28, 4);
    // The page count is valid only when written by the same change as the counter.
    const bool counted = pages != 0 && BigEndian(header + 24, 4) == BigEndian(header + 92, 4);
    if (pageSize < 512 || (pageSize & (pageSize - 1)) != 0)
        return "the file is damaged (no valid SQLite page size)";
    wal = header[18] == 2 || header[19] == 2;
    const auto size = static_cast<std::uint64_t>(status.st_size);
    if ((counted && size < static_cast<std::uint64_t>(pages) * pageSize) || size % pageSize != 0)
        return "the file is truncated";
    return {};
}

std::string UriOfPath(const std::string &path, bool immutable)
{
    std::string uri = "file:";
    for (const char c : fs::absolute(path).lexically_normal().string()) {
        const auto u = static_cast<unsigned char>(c);
        if (std::isalnum(u) || std::strchr("/-._~", c) != nullptr)
            uri += c;
        else
            uri += FormatC("%%%02X", u);
    }
    // Read-only: never a journal or a lock file written beside the user's file. Even read-only,
    // SQLite makes the -wal and -shm files of a write-ahead-log database unless told that
    // nothing writes it, which holds while it has no -wal file.
    return uri + (immutable ? "?mode=ro&immutable=1" : "?mode=ro");
}

std::string DatabaseError(sqlite3 *db)
{
    const int code = sqlite3_errcode(db);
    if (code == SQLITE_CORRUPT)
        return "the file is damaged (" + std::string(sqlite3_errmsg(db)) + ")";
    if (code == SQLITE_NOTADB)
        return "not an MBTiles file (no SQLite database)";
    return sqlite3_errmsg(db);
}

CDatabasePtr OpenDatabase(const std::string &path, std::string &error)
{
    bool wal = false;
    error = CheckDatabaseHeader(path, wal);
    if (!error.empty())
        return nullptr;
    std::error_code ec;
    const bool immutable = wal && !fs::exists(path + "-wal", ec);
    sqlite3 *raw = nullptr;
    const int result =
        sqlite3_open_v2(UriOfPath(path, immutable).c_str(), &raw,
                        SQLITE_OPEN_READONLY | SQLITE_OPEN_URI | SQLITE_OPEN_FULLMUTEX, nullptr);
    CDatabasePtr db(raw);
    if (result != SQLITE_OK) {
        error = raw != nullptr ? DatabaseError(raw) : sqlite3_errstr(result);
        return nullptr;
    }
    return db;
}

CStatementPtr Prepare(sqlite3 *db, const char *sql, std::string &error)
{
    sqlite3_stmt *raw = nullptr;
    if (sqlite3_prepare_v2(db, sql, -1, &raw, nullptr) != SQLITE_OK) {
        error = DatabaseError(db);
        return nullptr;
    }
    return CStatementPtr(raw);
}

bool HasTable(sqlite3 *db, const char *name, std::string &error)
{
    CStatementPtr statement = Prepare(
        db, "SELECT 1 FROM sqlite_master WHERE name = ?1 AND type IN ('table', 'view')", error);
    if (!statement)
        return false;
    sqlite3_bind_text(statement.get(), 1, name, -1, SQLITE_STATIC);
    const int step = sqlite3_step(statement.get());
    if (step != SQLITE_ROW && step != SQLITE_DONE)
        error = DatabaseError(db);
    return step == SQLITE_ROW;
}

// The lowest and highest zoom in the tiles table; false when it holds none or fails.
bool ZoomsOfTiles(sqlite3 *db, int &minZoom, int &maxZoom, std::string &error)
{
    CStatementPtr statement =
        Prepare(db, "SELECT MIN(zoom_level), MAX(zoom_level) FROM tiles", error);
    if (!statement)
        return false;
    if (sqlite3_step(statement.get()) != SQLITE_ROW) {
        error = DatabaseError(db);
        return false;
    }
    if (sqlite3_column_type(statement.get(), 0) == SQLITE_NULL) {
        error = "the file holds no tiles";
        return false;
    }
    minZoom = sqlite3_column_int(statement.get(), 0);
    maxZoom = sqlite3_column_int(statement.get(), 1);
    return true;
}

CTileSourceInfo DescribeMBTiles(const std::string &path)
{
    std::string error;
    CDatabasePtr db = OpenDatabase(path, error);
    if (!db)
        return Failure(error);
    if (!HasTable(db.get(), "tiles", error))
        return Failure(error.empty() ? "not an MBTiles file (no tiles table)" : error);
    CTileSourceInfo info;
    info.kind = TileSourceKind::MBTiles;
    info.file = fs::absolute(path).lexically_normal().string();
    std::optional<int> minZoom, maxZoom;
    std::array<double, 4> bounds{};
    bool haveBounds = false;
    std::string format;
    if (HasTable(db.get(), "metadata", error)) {
        CStatementPtr statement = Prepare(db.get(), "SELECT name, value FROM metadata", error);
        if (!statement)
            return Failure(error);
        int step = SQLITE_ROW;
        while ((step = sqlite3_step(statement.get())) == SQLITE_ROW) {
            const auto *key = sqlite3_column_text(statement.get(), 0);
            const auto *value = sqlite3_column_text(statement.get(), 1);
            if (key == nullptr || value == nullptr)
                continue;
            const std::string_view k(reinterpret_cast<const char *>(key));
            const std::string v(reinterpret_cast<const char *>(value));
            if (k == "name")
                info.name = v;
            else if (k == "format")
                format = Lower(v);
            else if (k == "minzoom")
                minZoom = ParseWhole(v);
            else if (k == "maxzoom")
                maxZoom = ParseWhole(v);
            else if (k == "bounds")
                haveBounds = ParseBounds(v, bounds);
        }
        if (step != SQLITE_DONE)
            return Failure(DatabaseError(db.get()));
    } else if (!error.empty()) {
        return Failure(error);
    }
    if (format == "pbf" || format == "mvt")
        return Failure(kVectorMessage);

    // One tile tells what the metadata may not: vector tiles behind a raster name, damage.
    CStatementPtr first = Prepare(db.get(), "SELECT tile_data FROM tiles LIMIT 1", error);
    if (!first)
        return Failure(error);
    const int step = sqlite3_step(first.get());
    if (step == SQLITE_DONE)
        return Failure("the file holds no tiles");
    if (step != SQLITE_ROW)
        return Failure(DatabaseError(db.get()));
    const std::string sniffed = SniffFormat(
        std::string_view(static_cast<const char *>(sqlite3_column_blob(first.get(), 0)),
                         static_cast<std::size_t>(sqlite3_column_bytes(first.get(), 0))));
    if (sniffed == "gzip")
        return Failure(kVectorMessage);
    info.format = sniffed.empty() ? RasterFormat(format) : sniffed;
    if (info.format.empty())
        return Failure("the file holds tiles of format '" + format
                       + "', which Veloran cannot draw: it needs PNG, JPEG or WebP");
    first.reset();

    if (!minZoom || !maxZoom || *minZoom > *maxZoom) {
        int low = 0, high = 0;
        if (!ZoomsOfTiles(db.get(), low, high, error))
            return Failure(error);
        minZoom = low;
        maxZoom = high;
    }
    if (*minZoom < 0 || *minZoom > kMaxTileZoom)
        return Failure("the tiles' zoom levels lie outside 0 to " + std::to_string(kMaxTileZoom));
    info.minZoom = *minZoom;
    info.maxZoom = std::min(*maxZoom, kMaxTileZoom);
    if (haveBounds) {
        info.west = bounds[0];
        info.south = bounds[1];
        info.east = bounds[2];
        info.north = bounds[3];
    } else {
        CStatementPtr extent = Prepare(db.get(),
                                       "SELECT MIN(tile_column), MAX(tile_column), MIN(tile_row), "
                                       "MAX(tile_row) FROM tiles WHERE zoom_level = ?1",
                                       error);
        if (!extent)
            return Failure(error);
        sqlite3_bind_int(extent.get(), 1, info.maxZoom);
        if (sqlite3_step(extent.get()) != SQLITE_ROW)
            return Failure(DatabaseError(db.get()));
        if (sqlite3_column_type(extent.get(), 0) == SQLITE_NULL)
            return Failure("the file holds no tiles at zoom " + std::to_string(info.maxZoom));
        const int z = info.maxZoom;
        const int last = (1 << z) - 1;
        const int firstColumn = std::clamp(sqlite3_column_int(extent.get(), 0), 0, last);
        const int lastColumn = std::clamp(sqlite3_column_int(extent.get(), 1), firstColumn, last);
        // TMS rows: the highest is the northernmost.
        const int firstRow =
            FlipTileRow(z, std::clamp(sqlite3_column_int(extent.get(), 3), 0, last));
        const int lastRow = std::max(
            firstRow, FlipTileRow(z, std::clamp(sqlite3_column_int(extent.get(), 2), 0, last)));
        SetTileBounds(info, z, firstColumn, lastColumn, firstRow, lastRow);
    }
    if (info.name.empty())
        info.name = fs::path(info.file).stem().string();
    info.ok = true;
    return info;
}

// ---- Tile folders

std::optional<int> NumberOfName(const std::string &name)
{
    if (name.empty() || name.size() > 9 || !std::all_of(name.begin(), name.end(), [](char c) {
            return std::isdigit(static_cast<unsigned char>(c));
        }))
        return std::nullopt;
    return std::stoi(name);
}

// The numbered entries of a folder: subfolders, or files "N.ext" when `extension` is given
// (then only those of that extension, or of any tile extension when it is empty and `found`
// receives the first one met).
std::vector<int> NumberedEntries(const fs::path &folder, bool files, std::string *extension)
{
    std::vector<int> numbers;
    std::error_code ec;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
        const fs::path &p = it->path();
        std::error_code typeError;
        if (!files) {
            if (!it->is_directory(typeError))
                continue;
            if (const std::optional<int> n = NumberOfName(p.filename().string()))
                numbers.push_back(*n);
            continue;
        }
        if (!it->is_regular_file(typeError))
            continue;
        std::string ext = p.extension().string();
        if (ext.empty())
            continue;
        ext.erase(0, 1);
        if (extension->empty() ? RasterFormat(ext).empty() : ext != *extension)
            continue;
        if (const std::optional<int> n = NumberOfName(p.stem().string())) {
            numbers.push_back(*n);
            if (extension->empty())
                *extension = ext;
        }
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

// The attribute `name` of the first <BoundingBox> of a Tile Map Service document.
std::optional<double> BoxAttribute(std::string_view xml, std::string_view name)
{
    const std::size_t box = xml.find("<BoundingBox");
    if (box == std::string_view::npos)
        return std::nullopt;
    xml = xml.substr(box, xml.find('>', box) - box);
    for (std::size_t at = xml.find(name); at != std::string_view::npos;
         at = xml.find(name, at + 1)) {
        if (!std::isspace(static_cast<unsigned char>(xml[at - 1])))
            continue;
        std::size_t quote = at + name.size();
        while (quote < xml.size() && (xml[quote] == '=' || xml[quote] == ' '))
            ++quote;
        if (quote >= xml.size() || (xml[quote] != '"' && xml[quote] != '\''))
            return std::nullopt;
        double value = 0.0;
        if (ScanDouble(xml.substr(quote + 1), value) != 1 || !std::isfinite(value))
            return std::nullopt;
        return value;
    }
    return std::nullopt;
}

std::string ReadSmallFile(const fs::path &path, std::size_t limit)
{
    std::string text;
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return text;
    char buffer[4096];
    ssize_t got = 0;
    while (text.size() < limit && (got = ::read(fd, buffer, sizeof buffer)) > 0)
        text.append(buffer, static_cast<std::size_t>(got));
    ::close(fd);
    return text;
}

// The BoundingBox of tilemapresource.xml in degrees (west, south, east, north). gdal2tiles
// writes degrees there even for its Mercator profile; metres (values past ±180) are converted.
std::optional<std::array<double, 4>> TileMapBounds(const fs::path &root)
{
    const std::string xml = ReadSmallFile(root / "tilemapresource.xml", 1 << 20);
    const auto minx = BoxAttribute(xml, "minx"), miny = BoxAttribute(xml, "miny");
    const auto maxx = BoxAttribute(xml, "maxx"), maxy = BoxAttribute(xml, "maxy");
    if (!minx || !miny || !maxx || !maxy)
        return std::nullopt;
    std::array<double, 4> b{*minx, *miny, *maxx, *maxy};
    if (std::max({std::fabs(b[0]), std::fabs(b[1]), std::fabs(b[2]), std::fabs(b[3])}) > 180.0) {
        constexpr double kEarthRadius = 6378137.0;
        for (int i = 0; i < 4; ++i) {
            const double r = b[i] / kEarthRadius;
            b[i] = (i % 2 == 0 ? r : std::atan(std::sinh(r))) * 180.0 / std::numbers::pi;
        }
    }
    if (!ParseBounds(FormatC("%.17g,%.17g,%.17g,%.17g", b[0], b[1], b[2], b[3]), b))
        return std::nullopt;
    return b;
}

// "DIR/{z}/{x}/{y}.EXT" or "{-y}": the folder, the row order and the extension.
bool SplitTemplate(const std::string &pattern, std::string &root, TileRowOrder &order,
                   std::string &extension)
{
    for (const TileRowOrder o : {TileRowOrder::XYZ, TileRowOrder::TMS}) {
        const std::string tail = o == TileRowOrder::XYZ ? "/{z}/{x}/{y}." : "/{z}/{x}/{-y}.";
        const std::size_t at = pattern.find(tail);
        if (at == std::string::npos)
            continue;
        extension = pattern.substr(at + tail.size());
        if (RasterFormat(extension).empty()
            || pattern.find('{', at + tail.size()) != std::string::npos)
            return false;
        root = pattern.substr(0, at);
        order = o;
        return true;
    }
    return false;
}

std::string FolderTemplate(const std::string &root, TileRowOrder order, const std::string &ext)
{
    return root + (order == TileRowOrder::TMS ? "/{z}/{x}/{-y}." : "/{z}/{x}/{y}.") + ext;
}

CTileSourceInfo DescribeFolder(const std::string &path, TileRowOrder order)
{
    std::string root = path;
    std::string extension;
    if (TileSourceKindOfPath(path) == TileSourceKind::Folder) {
        if (!SplitTemplate(path, root, order, extension))
            return Failure(
                "a tile folder template must end in /{z}/{x}/{y}.EXT or /{z}/{x}/{-y}.EXT "
                "with EXT png, jpg, jpeg or webp");
    }
    std::error_code ec;
    root = fs::absolute(root, ec).lexically_normal().string();
    while (root.size() > 1 && root.back() == '/')
        root.pop_back();
    if (!fs::is_directory(root, ec))
        return Failure(ec ? ec.message() : "not a folder");
    std::vector<int> zooms = NumberedEntries(root, false, nullptr);
    std::erase_if(zooms, [](int z) { return z > kMaxTileZoom; });
    // The most detailed zoom holding a tile; a zoom folder may hold only empty column folders.
    CTileSourceInfo info;
    std::vector<int> columns;
    int firstRow = INT_MAX, lastRow = INT_MIN;
    while (!zooms.empty()) {
        const fs::path zoomFolder = fs::path(root) / std::to_string(zooms.back());
        columns = NumberedEntries(zoomFolder, false, nullptr);
        std::erase_if(columns, [&](int x) {
            const std::vector<int> rows =
                NumberedEntries(zoomFolder / std::to_string(x), true, &extension);
            if (rows.empty())
                return true;
            firstRow = std::min(firstRow, rows.front());
            lastRow = std::max(lastRow, rows.back());
            return false;
        });
        if (!columns.empty())
            break;
        zooms.pop_back();
    }
    if (zooms.empty())
        return Failure("the folder holds no tiles (DIR/ZOOM/X/Y.png, .jpg, .jpeg or .webp)");
    const int z = zooms.back();
    const int last = (1 << z) - 1;
    if (columns.back() > last || lastRow > last)
        return Failure("a tile of zoom " + std::to_string(z) + " lies outside the world");
    info.kind = TileSourceKind::Folder;
    info.format = RasterFormat(extension);
    info.minZoom = zooms.front();
    info.maxZoom = z;
    info.name = fs::path(root).filename().string();

    const std::optional<std::array<double, 4>> box = TileMapBounds(root);
    if (order == TileRowOrder::Detect) {
        order = box ? TileRowOrder::TMS : TileRowOrder::XYZ;
        if (box) {
            // The middle of the box in the rows read either way.
            const double middle = MercatorY(0.5 * ((*box)[1] + (*box)[3]), z) / kTilePixels;
            const auto inside = [&](int a, int b) { return middle >= a && middle < b + 1; };
            if (inside(firstRow, lastRow)
                && !inside(FlipTileRow(z, lastRow), FlipTileRow(z, firstRow)))
                order = TileRowOrder::XYZ;
        }
    }
    if (order == TileRowOrder::TMS) {
        const int north = FlipTileRow(z, lastRow);
        lastRow = FlipTileRow(z, firstRow);
        firstRow = north;
    }
    if (box) {
        info.west = (*box)[0];
        info.south = (*box)[1];
        info.east = (*box)[2];
        info.north = (*box)[3];
    } else {
        SetTileBounds(info, z, columns.front(), columns.back(), firstRow, lastRow);
    }
    info.file = FolderTemplate(root, order, extension);
    info.ok = true;
    return info;
}

// ---- Pyramids

std::vector<CTileLevel> TileLevels(const CMapInfo &map, int minZoom)
{
    std::vector<CTileLevel> levels;
    for (int zoom = map.m_tileZoom; zoom >= std::max(minZoom, 0); --zoom) {
        const int shift = map.m_tileZoom - zoom;
        const double scale = std::ldexp(1.0, shift);
        const double span = kTilePixels * scale; // map pixels per tile
        const int last = (1 << zoom) - 1;
        CTileLevel level;
        level.scale = scale;
        level.originX = -static_cast<double>(map.m_offsetX);
        level.originY = -static_cast<double>(map.m_offsetY);
        const auto tile = [&](double globalPixel) {
            return std::clamp(static_cast<int>(std::floor(globalPixel / span)), 0, last);
        };
        level.firstColumn = tile(map.m_offsetX);
        level.lastColumn = tile(static_cast<double>(map.m_offsetX) + map.m_width - 1.0);
        level.firstRow = tile(map.m_offsetY);
        level.lastRow = tile(static_cast<double>(map.m_offsetY) + map.m_height - 1.0);
        levels.push_back(level);
    }
    return levels;
}

class CMBTilesPyramid final : public CTilePyramid
{
public:
    CMBTilesPyramid(CDatabasePtr db, CStatementPtr read, std::vector<CTileLevel> levels,
                    int maxZoom)
        : m_db(std::move(db))
        , m_read(std::move(read))
        , m_levels(std::move(levels))
        , m_maxZoom(maxZoom)
    {
    }
    [[nodiscard]] const std::vector<CTileLevel> &GetLevels() const override { return m_levels; }
    TileRead ReadTile(std::size_t level, int column, int row, CTileData &tile,
                      std::string &error) override
    {
        if (level >= m_levels.size())
            return TileRead::Absent;
        const CTileLevel &l = m_levels[level];
        if (column < l.firstColumn || column > l.lastColumn || row < l.firstRow || row > l.lastRow)
            return TileRead::Absent;
        const int zoom = m_maxZoom - static_cast<int>(level);
        // One statement behind a lock: the lookup takes microseconds beside the decoding.
        const std::lock_guard lock(m_mutex);
        sqlite3_stmt *s = m_read.get();
        sqlite3_reset(s);
        sqlite3_bind_int(s, 1, zoom);
        sqlite3_bind_int(s, 2, column);
        sqlite3_bind_int(s, 3, FlipTileRow(zoom, row));
        const int step = sqlite3_step(s);
        if (step == SQLITE_DONE)
            return TileRead::Absent;
        if (step != SQLITE_ROW) {
            error = DatabaseError(m_db.get());
            sqlite3_reset(s);
            return TileRead::Failed;
        }
        const auto size = static_cast<std::size_t>(sqlite3_column_bytes(s, 0));
        if (size > kMaxTileBytes) {
            error = "a tile is larger than " + std::to_string(kMaxTileBytes >> 20) + " MiB";
            sqlite3_reset(s);
            return TileRead::Failed;
        }
        const auto *data = static_cast<const char *>(sqlite3_column_blob(s, 0));
        tile = CTileData();
        tile.encoded.assign(data != nullptr ? data : "", size);
        sqlite3_reset(s);
        return tile.encoded.empty() ? TileRead::Absent : TileRead::Ok;
    }

private:
    CDatabasePtr m_db;
    CStatementPtr m_read;
    std::vector<CTileLevel> m_levels;
    int m_maxZoom;
    std::mutex m_mutex;
};

class CFolderPyramid final : public CTilePyramid
{
public:
    CFolderPyramid(std::string pattern, std::vector<CTileLevel> levels, int maxZoom)
        : m_pattern(std::move(pattern))
        , m_levels(std::move(levels))
        , m_maxZoom(maxZoom)
    {
    }
    [[nodiscard]] const std::vector<CTileLevel> &GetLevels() const override { return m_levels; }
    TileRead ReadTile(std::size_t level, int column, int row, CTileData &tile,
                      std::string &error) override
    {
        if (level >= m_levels.size())
            return TileRead::Absent;
        const CTileLevel &l = m_levels[level];
        if (column < l.firstColumn || column > l.lastColumn || row < l.firstRow || row > l.lastRow)
            return TileRead::Absent;
        const int zoom = m_maxZoom - static_cast<int>(level);
        const std::string path = TilePath(zoom, column, row);
        const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            if (errno == ENOENT || errno == ENOTDIR)
                return TileRead::Absent;
            error = path + ": " + std::strerror(errno);
            return TileRead::Failed;
        }
        std::string bytes;
        char buffer[65536];
        ssize_t got = 0;
        while ((got = ::read(fd, buffer, sizeof buffer)) > 0 && bytes.size() <= kMaxTileBytes)
            bytes.append(buffer, static_cast<std::size_t>(got));
        const int readError = got < 0 ? errno : 0;
        ::close(fd);
        if (readError != 0 || bytes.size() > kMaxTileBytes) {
            error =
                path + ": " + (readError != 0 ? std::strerror(readError) : "larger than any tile");
            return TileRead::Failed;
        }
        tile = CTileData();
        tile.encoded = std::move(bytes);
        return tile.encoded.empty() ? TileRead::Absent : TileRead::Ok;
    }

private:
    std::string TilePath(int zoom, int column, int row) const
    {
        std::string path;
        path.reserve(m_pattern.size() + 16);
        for (std::size_t i = 0; i < m_pattern.size(); ++i) {
            const std::string_view rest = std::string_view(m_pattern).substr(i);
            if (rest.starts_with("{z}")) {
                path += std::to_string(zoom);
                i += 2;
            } else if (rest.starts_with("{x}")) {
                path += std::to_string(column);
                i += 2;
            } else if (rest.starts_with("{y}")) {
                path += std::to_string(row);
                i += 2;
            } else if (rest.starts_with("{-y}")) {
                path += std::to_string(FlipTileRow(zoom, row));
                i += 3;
            } else {
                path += m_pattern[i];
            }
        }
        return path;
    }

    std::string m_pattern;
    std::vector<CTileLevel> m_levels;
    int m_maxZoom;
};

std::unique_ptr<CTilePyramid> OpenMBTilesPyramid(const CMapInfo &map, std::string &error)
{
    CDatabasePtr db = OpenDatabase(map.m_file, error);
    if (!db)
        return nullptr;
    int minZoom = 0, maxZoom = 0;
    if (!HasTable(db.get(), "tiles", error))
        return error = error.empty() ? "not an MBTiles file (no tiles table)" : error, nullptr;
    if (!ZoomsOfTiles(db.get(), minZoom, maxZoom, error))
        return nullptr;
    CStatementPtr read = Prepare(db.get(),
                                 "SELECT tile_data FROM tiles WHERE zoom_level = ?1 AND "
                                 "tile_column = ?2 AND tile_row = ?3",
                                 error);
    if (!read)
        return nullptr;
    return std::make_unique<CMBTilesPyramid>(std::move(db), std::move(read),
                                             TileLevels(map, std::min(minZoom, map.m_tileZoom)),
                                             map.m_tileZoom);
}

std::unique_ptr<CTilePyramid> OpenFolderPyramid(const CMapInfo &map, std::string &error)
{
    std::string root, extension;
    TileRowOrder order = TileRowOrder::XYZ;
    if (!SplitTemplate(map.m_file, root, order, extension)) {
        // Any other template still reads; its zooms cannot be listed, so all are tried.
        return std::make_unique<CFolderPyramid>(map.m_file, TileLevels(map, 0), map.m_tileZoom);
    }
    std::error_code ec;
    if (!fs::is_directory(root, ec)) {
        error = root + ": " + (ec ? ec.message() : "not a folder");
        return nullptr;
    }
    std::vector<int> zooms = NumberedEntries(root, false, nullptr);
    const int minZoom = zooms.empty() ? map.m_tileZoom : std::min(zooms.front(), map.m_tileZoom);
    return std::make_unique<CFolderPyramid>(map.m_file, TileLevels(map, minZoom), map.m_tileZoom);
}

} // namespace

CTileSourceInfo DescribeTileSource(const std::string &path, TileRowOrder order)
{
    if (path.empty())
        return Failure("no file named");
    if (TileSourceKindOfPath(path) == TileSourceKind::MBTiles)
        return DescribeMBTiles(path);
    std::error_code ec;
    if (TileSourceKindOfPath(path) == TileSourceKind::Folder || fs::is_directory(path, ec))
        return DescribeFolder(path, order);
    return Failure("neither an MBTiles file (.mbtiles) nor a tile folder");
}

CMapInfo TileSourceMap(const CTileSourceInfo &info)
{
    return MakeTileSourceMap(info.name, info.file, info.west, info.south, info.east, info.north,
                             info.maxZoom);
}

std::unique_ptr<CTilePyramid> OpenTilePyramid(const CMapInfo &map, std::string &error)
{
    error.clear();
    const TileSourceKind kind = TileSourceKindOfPath(map.m_file);
    if (kind == TileSourceKind::None)
        return nullptr;
    if (!map.IsCalibrated() || map.m_projection != MapProjection::WebMercator) {
        error = "the tile source's record holds no zoom";
        return nullptr;
    }
    std::unique_ptr<CTilePyramid> pyramid = kind == TileSourceKind::MBTiles
                                                ? OpenMBTilesPyramid(map, error)
                                                : OpenFolderPyramid(map, error);
    if (!pyramid && error.empty())
        error = "cannot open the tile source";
    return pyramid;
}
