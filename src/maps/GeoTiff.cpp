#include "maps/GeoTiff.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <geotiff.h>
#include <geovalues.h>
#include <mutex>
#include <tiffio.h>
#include <vector>
#include <xtiffio.h>

namespace
{

// Tiles of more pixels than this are no map's: a hostile file could ask for gigabytes each.
constexpr std::uint64_t kMaxTilePixels = std::uint64_t{4096} * 4096;
// A side longer than this holds more tiles than anyone scans.
constexpr std::uint32_t kMaxSide = 1u << 20;
// Reduced images looked for after the full one.
constexpr int kMaxDirectories = 32;
// Levels averaged from full-resolution tiles on each read cost up to this factor squared of
// tile reads per tile.
constexpr int kMaxAveragedFactor = 8;
constexpr int kMemoryTile = 256;
// libtiff refuses any single allocation above this.
constexpr tmsize_t kMaxAllocation = tmsize_t{512} << 20;
// Tags of a GeoTIFF holding more numbers than this are not georeferencing.
constexpr std::uint32_t kMaxTagValues = 6000;

// libtiff's messages of one handle, kept for the user; the first error says most.
struct CTiffMessages {
    std::string error;
};

int KeepError(TIFF *, void *user, const char *module, const char *format, va_list ap)
{
    auto *messages = static_cast<CTiffMessages *>(user);
    if (messages->error.empty()) {
        std::array<char, 512> text{};
        std::vsnprintf(text.data(), text.size(), format, ap);
        messages->error = text.data();
        if (messages->error.empty() && module != nullptr)
            messages->error = module;
    }
    return 1;
}

int IgnoreWarning(TIFF *, void *, const char *, const char *, va_list)
{
    return 1;
}

void IgnoreGeoTiffError(GTIF *, int, const char *, ...) {}

// A TIFF handle that reports into `messages` rather than stderr; nullptr when it cannot open.
TIFF *OpenTiff(const std::string &path, CTiffMessages &messages)
{
    // The GeoTIFF tags must be known before the first directory is read.
    RegisterGeoTiffTags();
    TIFFOpenOptions *options = TIFFOpenOptionsAlloc();
    TIFFOpenOptionsSetErrorHandlerExtR(options, KeepError, &messages);
    TIFFOpenOptionsSetWarningHandlerExtR(options, IgnoreWarning, nullptr);
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, kMaxAllocation);
    // "m": read, not map: a file cut short under us must fail a read, not raise SIGBUS.
    TIFF *tiff = TIFFOpenExt(path.c_str(), "rm", options);
    TIFFOpenOptionsFree(options);
    if (tiff == nullptr && messages.error.empty())
        messages.error = "cannot open the file";
    return tiff;
}

struct CCloseTiff {
    void operator()(TIFF *tiff) const { TIFFClose(tiff); }
};
using CTiffHandle = std::unique_ptr<TIFF, CCloseTiff>;

std::vector<double> DoubleTag(TIFF *tiff, std::uint32_t tag)
{
    const TIFFField *field = TIFFFieldWithTag(tiff, tag);
    if (field == nullptr || TIFFFieldDataType(field) != TIFF_DOUBLE || !TIFFFieldPassCount(field))
        return {};
    std::uint32_t count = 0;
    double *values = nullptr;
    if (TIFFFieldReadCount(field) == TIFF_VARIABLE2) {
        if (TIFFGetField(tiff, tag, &count, &values) != 1)
            return {};
    } else {
        std::uint16_t shortCount = 0;
        if (TIFFGetField(tiff, tag, &shortCount, &values) != 1)
            return {};
        count = shortCount;
    }
    if (values == nullptr || count > kMaxTagValues)
        return {};
    return {values, values + count};
}

int ShortKey(GTIF *gtif, geokey_t key)
{
    unsigned short value = 0;
    return GTIFKeyGet(gtif, key, &value, 0, 1) == 1 ? value : 0;
}

// One pixel of a tile read through libtiff's RGBA interface (A, B, G, R from the top byte) as
// 0xAARRGGBB.
std::uint32_t Argb(std::uint32_t abgr)
{
    return (abgr & 0xFF00FF00u) | ((abgr & 0xFFu) << 16) | ((abgr >> 16) & 0xFFu);
}

// Sums of the pixels falling into one pixel of a reduced image.
struct CSum {
    std::uint32_t a = 0, r = 0, g = 0, b = 0, n = 0;

    void Add(std::uint32_t argb)
    {
        a += argb >> 24;
        r += (argb >> 16) & 0xFFu;
        g += (argb >> 8) & 0xFFu;
        b += argb & 0xFFu;
        ++n;
    }
    [[nodiscard]] std::uint32_t Mean() const
    {
        if (n == 0)
            return 0;
        const auto mean = [this](std::uint32_t sum) { return (sum + n / 2) / n; };
        return mean(a) << 24 | mean(r) << 16 | mean(g) << 8 | mean(b);
    }
};

struct CImage {
    int width = 0;
    int height = 0;
    std::vector<std::uint32_t> argb;
};

// Each pixel the mean of two by two.
CImage Halve(const CImage &image)
{
    CImage half;
    half.width = (image.width + 1) / 2;
    half.height = (image.height + 1) / 2;
    half.argb.resize(static_cast<std::size_t>(half.width) * half.height);
    for (int y = 0; y < half.height; ++y)
        for (int x = 0; x < half.width; ++x) {
            CSum sum;
            for (int dy = 0; dy < 2 && 2 * y + dy < image.height; ++dy)
                for (int dx = 0; dx < 2 && 2 * x + dx < image.width; ++dx)
                    sum.Add(image.argb[static_cast<std::size_t>(2 * y + dy) * image.width + 2 * x
                                       + dx]);
            half.argb[static_cast<std::size_t>(y) * half.width + x] = sum.Mean();
        }
    return half;
}

enum class LevelKind { Directory, Averaged, Memory };

struct CLevelSource {
    LevelKind kind = LevelKind::Directory;
    tdir_t directory = 0; // Directory
    int width = 0;        // Directory: its pixels
    int height = 0;
    int factor = 1;        // Averaged: full-resolution pixels per level pixel
    std::size_t image = 0; // Memory: index into the overviews
};

struct CPooledHandle {
    CTiffMessages messages;
    CTiffHandle tiff;
};

class CTiffPyramid : public CTilePyramid
{
public:
    CTiffPyramid(std::string path, std::unique_ptr<CPooledHandle> first)
        : m_path(std::move(path))
    {
        m_free.push_back(std::move(first));
    }

    // Levels from the open handle's directories; false with `error` for a file we cannot read.
    bool Describe(std::string &error);

    [[nodiscard]] const std::vector<CTileLevel> &GetLevels() const override { return m_levels; }
    TileRead ReadTile(std::size_t level, int column, int row, CTileData &tile,
                      std::string &error) override;

private:
    std::unique_ptr<CPooledHandle> Take(std::string &error);
    void Give(std::unique_ptr<CPooledHandle> handle);
    // The `width` × `height` tile of directory `directory` at pixel (x, y), rows top down.
    bool ReadDirectoryTile(CPooledHandle &handle, tdir_t directory, std::uint32_t x,
                           std::uint32_t y, int width, int height, std::vector<std::uint32_t> &argb,
                           std::string &error);
    // Adds every full-resolution pixel of [x0, x1) × [y0, y1) to sum(x / factor, y / factor)
    // through `add`, tile by tile.
    template <typename Add>
    bool Stream(CPooledHandle &handle, int x0, int y0, int x1, int y1, Add add, std::string &error);
    bool MakeOverviews(std::string &error);

    std::string m_path;
    std::vector<CTileLevel> m_levels;
    std::vector<CLevelSource> m_sources;
    int m_width = 0, m_height = 0, m_tileWidth = 0, m_tileHeight = 0;
    int m_overviewFactor = 1;

    std::mutex m_poolMutex;
    std::vector<std::unique_ptr<CPooledHandle>> m_free;

    std::once_flag m_overviewsMade;
    std::string m_overviewError;
    std::vector<CImage> m_overviews;
};

bool CTiffPyramid::Describe(std::string &error)
{
    TIFF *tiff = m_free.front()->tiff.get();
    std::uint32_t width = 0, height = 0, tileWidth = 0, tileHeight = 0;
    TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width);
    TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height);
    TIFFGetField(tiff, TIFFTAG_TILEWIDTH, &tileWidth);
    TIFFGetField(tiff, TIFFTAG_TILELENGTH, &tileHeight);
    if (width == 0 || height == 0 || width > kMaxSide || height > kMaxSide)
        return (error = "image size out of range"), false;
    if (tileWidth == 0 || tileHeight == 0 || std::uint64_t{tileWidth} * tileHeight > kMaxTilePixels)
        return (error = "tile size out of range"), false;
    std::array<char, 1024> why{};
    if (TIFFRGBAImageOK(tiff, why.data()) != 1)
        return (error = std::string("cannot decode the pixels: ") + why.data()), false;
    m_width = static_cast<int>(width);
    m_height = static_cast<int>(height);
    m_tileWidth = static_cast<int>(tileWidth);
    m_tileHeight = static_cast<int>(tileHeight);

    const auto addDirectory = [this](tdir_t directory, std::uint32_t w, std::uint32_t h,
                                     std::uint32_t tw, std::uint32_t th) {
        CTileLevel level;
        level.tileWidth = static_cast<int>(tw);
        level.tileHeight = static_cast<int>(th);
        level.lastColumn = static_cast<int>((w - 1) / tw);
        level.lastRow = static_cast<int>((h - 1) / th);
        level.scale = static_cast<double>(m_width) / w;
        m_levels.push_back(level);
        m_sources.push_back(
            {LevelKind::Directory, directory, static_cast<int>(w), static_cast<int>(h)});
    };
    addDirectory(0, width, height, tileWidth, tileHeight);

    // Reduced images, each smaller than the one before (gdaladdo writes them in that order).
    std::uint32_t lastWidth = width;
    for (tdir_t directory = 1; directory < kMaxDirectories && TIFFReadDirectory(tiff) == 1;
         ++directory) {
        std::uint32_t type = 0, w = 0, h = 0, tw = 0, th = 0;
        TIFFGetField(tiff, TIFFTAG_SUBFILETYPE, &type);
        if ((type & FILETYPE_REDUCEDIMAGE) == 0 || (type & FILETYPE_MASK) != 0
            || !TIFFIsTiled(tiff))
            continue;
        TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &w);
        TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &h);
        TIFFGetField(tiff, TIFFTAG_TILEWIDTH, &tw);
        TIFFGetField(tiff, TIFFTAG_TILELENGTH, &th);
        if (w == 0 || h == 0 || w >= lastWidth || tw == 0 || th == 0
            || std::uint64_t{tw} * th > kMaxTilePixels || TIFFRGBAImageOK(tiff, why.data()) != 1)
            continue;
        addDirectory(directory, w, h, tw, th);
        lastWidth = w;
    }
    if (TIFFSetDirectory(tiff, 0) != 1)
        return (error = "cannot read the first image again"), false;
    if (m_levels.size() > 1)
        return true;

    // No reduced images in the file: the smallest power of two that brings the whole image
    // within the overview's side.
    const int side = std::max(m_width, m_height);
    while (side > kTiffOverviewSide * m_overviewFactor)
        m_overviewFactor *= 2;
    for (int factor = 2; factor < m_overviewFactor && factor <= kMaxAveragedFactor; factor *= 2) {
        CTileLevel level;
        level.tileWidth = level.tileHeight = kMemoryTile;
        level.scale = factor;
        level.lastColumn = (m_width - 1) / (factor * kMemoryTile);
        level.lastRow = (m_height - 1) / (factor * kMemoryTile);
        m_levels.push_back(level);
        CLevelSource source;
        source.kind = LevelKind::Averaged;
        source.factor = factor;
        m_sources.push_back(source);
    }
    // The overview itself (when it is not the full image) and its halves down to one tile.
    int w = (m_width + m_overviewFactor - 1) / m_overviewFactor;
    int h = (m_height + m_overviewFactor - 1) / m_overviewFactor;
    double scale = m_overviewFactor;
    for (std::size_t image = 0;; ++image) {
        if (scale > 1.0) {
            CTileLevel level;
            level.tileWidth = level.tileHeight = kMemoryTile;
            level.scale = scale;
            level.lastColumn = (w - 1) / kMemoryTile;
            level.lastRow = (h - 1) / kMemoryTile;
            m_levels.push_back(level);
            CLevelSource source;
            source.kind = LevelKind::Memory;
            source.image = image;
            m_sources.push_back(source);
        }
        if (w <= kMemoryTile && h <= kMemoryTile)
            break;
        w = (w + 1) / 2;
        h = (h + 1) / 2;
        scale *= 2.0;
    }
    return true;
}

std::unique_ptr<CPooledHandle> CTiffPyramid::Take(std::string &error)
{
    {
        const std::lock_guard lock(m_poolMutex);
        if (!m_free.empty()) {
            std::unique_ptr<CPooledHandle> handle = std::move(m_free.back());
            m_free.pop_back();
            return handle;
        }
    }
    // Every handle is busy on another thread: libtiff's are not to be shared.
    auto handle = std::make_unique<CPooledHandle>();
    handle->tiff.reset(OpenTiff(m_path, handle->messages));
    if (!handle->tiff) {
        error = handle->messages.error;
        return nullptr;
    }
    return handle;
}

void CTiffPyramid::Give(std::unique_ptr<CPooledHandle> handle)
{
    const std::lock_guard lock(m_poolMutex);
    m_free.push_back(std::move(handle));
}

bool CTiffPyramid::ReadDirectoryTile(CPooledHandle &handle, tdir_t directory, std::uint32_t x,
                                     std::uint32_t y, int width, int height,
                                     std::vector<std::uint32_t> &argb, std::string &error)
{
    TIFF *tiff = handle.tiff.get();
    handle.messages.error.clear();
    if (TIFFCurrentDirectory(tiff) != directory && TIFFSetDirectory(tiff, directory) != 1) {
        error = handle.messages.error.empty() ? "cannot read an image directory"
                                              : handle.messages.error;
        return false;
    }
    std::uint32_t tw = 0, th = 0;
    TIFFGetField(tiff, TIFFTAG_TILEWIDTH, &tw);
    TIFFGetField(tiff, TIFFTAG_TILELENGTH, &th);
    // Another handle may have opened the file after it was replaced.
    if (static_cast<int>(tw) != width || static_cast<int>(th) != height) {
        error = "the file changed while it was shown";
        return false;
    }
    std::vector<std::uint32_t> raster(std::size_t{tw} * th);
    if (TIFFReadRGBATile(tiff, x, y, raster.data()) != 1) {
        error = handle.messages.error.empty() ? "cannot read a tile" : handle.messages.error;
        return false;
    }
    // The RGBA interface fills from the bottom row up.
    argb.resize(raster.size());
    for (std::uint32_t row = 0; row < th; ++row) {
        const std::uint32_t *from = raster.data() + std::size_t{th - 1 - row} * tw;
        std::uint32_t *to = argb.data() + std::size_t{row} * tw;
        for (std::uint32_t i = 0; i < tw; ++i)
            to[i] = Argb(from[i]);
    }
    return true;
}

template <typename Add>
bool CTiffPyramid::Stream(CPooledHandle &handle, int x0, int y0, int x1, int y1, Add add,
                          std::string &error)
{
    x1 = std::min(x1, m_width);
    y1 = std::min(y1, m_height);
    std::vector<std::uint32_t> tile;
    for (int ty = y0 / m_tileHeight * m_tileHeight; ty < y1; ty += m_tileHeight)
        for (int tx = x0 / m_tileWidth * m_tileWidth; tx < x1; tx += m_tileWidth) {
            if (!ReadDirectoryTile(handle, 0, static_cast<std::uint32_t>(tx),
                                   static_cast<std::uint32_t>(ty), m_tileWidth, m_tileHeight, tile,
                                   error))
                return false;
            for (int y = std::max(ty, y0); y < std::min(ty + m_tileHeight, y1); ++y)
                for (int x = std::max(tx, x0); x < std::min(tx + m_tileWidth, x1); ++x)
                    add(x, y,
                        tile[static_cast<std::size_t>(y - ty) * m_tileWidth
                             + static_cast<std::size_t>(x - tx)]);
        }
    return true;
}

// Streams the full image once, a band of tile rows at a time, so only the overview and one
// band of sums are held whatever the image's size.
bool CTiffPyramid::MakeOverviews(std::string &error)
{
    std::unique_ptr<CPooledHandle> handle = Take(error);
    if (!handle)
        return false;
    const int factor = m_overviewFactor;
    CImage overview;
    overview.width = (m_width + factor - 1) / factor;
    overview.height = (m_height + factor - 1) / factor;
    overview.argb.resize(static_cast<std::size_t>(overview.width) * overview.height);
    std::vector<CSum> band;
    int bandFirst = 0; // overview row of band's first row
    bool ok = true;
    for (int ty = 0; ok && ty < m_height; ty += m_tileHeight) {
        const int yEnd = std::min(ty + m_tileHeight, m_height);
        const int lastRow = (yEnd - 1) / factor;
        band.resize(static_cast<std::size_t>(lastRow - bandFirst + 1) * overview.width);
        ok = Stream(
            *handle, 0, ty, m_width, yEnd,
            [&](int x, int y, std::uint32_t argb) {
                band[static_cast<std::size_t>(y / factor - bandFirst) * overview.width
                     + static_cast<std::size_t>(x / factor)]
                    .Add(argb);
            },
            error);
        // Rows whose pixels have all been seen.
        const int complete = yEnd == m_height ? lastRow + 1 : yEnd / factor;
        for (int row = bandFirst; row < complete; ++row)
            for (int x = 0; x < overview.width; ++x)
                overview.argb[static_cast<std::size_t>(row) * overview.width + x] =
                    band[static_cast<std::size_t>(row - bandFirst) * overview.width + x].Mean();
        band.erase(band.begin(),
                   band.begin()
                       + static_cast<std::ptrdiff_t>(complete - bandFirst) * overview.width);
        bandFirst = complete;
    }
    Give(std::move(handle));
    if (!ok)
        return false;
    m_overviews.push_back(std::move(overview));
    while (m_overviews.back().width > kMemoryTile || m_overviews.back().height > kMemoryTile)
        m_overviews.push_back(Halve(m_overviews.back()));
    return true;
}

TileRead CTiffPyramid::ReadTile(std::size_t level, int column, int row, CTileData &tile,
                                std::string &error)
{
    if (level >= m_levels.size())
        return TileRead::Absent;
    const CTileLevel &grid = m_levels[level];
    if (column < grid.firstColumn || column > grid.lastColumn || row < grid.firstRow
        || row > grid.lastRow)
        return TileRead::Absent;
    const CLevelSource &source = m_sources[level];
    tile = CTileData{};
    tile.width = grid.tileWidth;
    tile.height = grid.tileHeight;

    if (source.kind == LevelKind::Memory) {
        std::call_once(m_overviewsMade, [this] {
            if (!MakeOverviews(m_overviewError) && m_overviewError.empty())
                m_overviewError = "cannot read the image";
        });
        if (!m_overviewError.empty() || source.image >= m_overviews.size()) {
            error = m_overviewError.empty() ? "cannot read the image" : m_overviewError;
            return TileRead::Failed;
        }
        const CImage &image = m_overviews[source.image];
        tile.argb.assign(static_cast<std::size_t>(tile.width) * tile.height, 0);
        for (int y = 0; y < tile.height && row * tile.height + y < image.height; ++y) {
            const int first = column * tile.width;
            const int count = std::min(tile.width, image.width - first);
            const auto from = image.argb.begin()
                              + static_cast<std::ptrdiff_t>(row * tile.height + y) * image.width
                              + first;
            std::copy(from, from + count,
                      tile.argb.begin() + static_cast<std::ptrdiff_t>(y) * tile.width);
        }
        return TileRead::Ok;
    }

    std::unique_ptr<CPooledHandle> handle = Take(error);
    if (!handle)
        return TileRead::Failed;
    bool ok = false;
    if (source.kind == LevelKind::Directory) {
        ok = ReadDirectoryTile(*handle, source.directory,
                               static_cast<std::uint32_t>(column * grid.tileWidth),
                               static_cast<std::uint32_t>(row * grid.tileHeight), grid.tileWidth,
                               grid.tileHeight, tile.argb, error);
    } else {
        const int f = source.factor;
        const int x0 = column * tile.width * f, y0 = row * tile.height * f;
        std::vector<CSum> sums(static_cast<std::size_t>(tile.width) * tile.height);
        ok = Stream(
            *handle, x0, y0, x0 + tile.width * f, y0 + tile.height * f,
            [&](int x, int y, std::uint32_t argb) {
                sums[static_cast<std::size_t>((y - y0) / f) * tile.width
                     + static_cast<std::size_t>((x - x0) / f)]
                    .Add(argb);
            },
            error);
        tile.argb.resize(sums.size());
        std::transform(sums.begin(), sums.end(), tile.argb.begin(),
                       [](const CSum &sum) { return sum.Mean(); });
    }
    Give(std::move(handle));
    if (!ok) {
        tile = CTileData{};
        return TileRead::Failed;
    }
    return TileRead::Ok;
}

std::string Lower(std::string text)
{
    for (char &c : text)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return text;
}

} // namespace

void RegisterGeoTiffTags()
{
    static std::once_flag tags;
    std::call_once(tags, [] { XTIFFInitialize(); });
}

bool IsTiffPath(const std::string &path)
{
    const std::string lower = Lower(path);
    const auto endsWith = [&lower](const char *suffix) {
        const std::string s(suffix);
        return lower.size() > s.size() && lower.compare(lower.size() - s.size(), s.size(), s) == 0;
    };
    return endsWith(".tif") || endsWith(".tiff");
}

bool ReadGeoTiffKeys(const std::string &path, CGeoTiffKeys &keys, std::string &error)
{
    keys = CGeoTiffKeys{};
    CTiffMessages messages;
    const CTiffHandle tiff(OpenTiff(path, messages));
    if (!tiff) {
        error = messages.error;
        return false;
    }
    std::uint32_t width = 0, height = 0;
    TIFFGetField(tiff.get(), TIFFTAG_IMAGEWIDTH, &width);
    TIFFGetField(tiff.get(), TIFFTAG_IMAGELENGTH, &height);
    if (width == 0 || height == 0 || width > kMaxSide || height > kMaxSide) {
        error = "image size out of range";
        return false;
    }
    keys.width = static_cast<int>(width);
    keys.height = static_cast<int>(height);
    keys.tiepoints = DoubleTag(tiff.get(), TIFFTAG_GEOTIEPOINTS);
    keys.pixelScale = DoubleTag(tiff.get(), TIFFTAG_GEOPIXELSCALE);
    keys.transformation = DoubleTag(tiff.get(), TIFFTAG_GEOTRANSMATRIX);
    GTIF *gtif = GTIFNewEx(tiff.get(), IgnoreGeoTiffError, nullptr);
    if (gtif == nullptr)
        return true;
    keys.modelType = ShortKey(gtif, GTModelTypeGeoKey);
    keys.rasterType = ShortKey(gtif, GTRasterTypeGeoKey);
    keys.geographicType = ShortKey(gtif, GeographicTypeGeoKey);
    keys.geodeticDatum = ShortKey(gtif, GeogGeodeticDatumGeoKey);
    keys.angularUnits = ShortKey(gtif, GeogAngularUnitsGeoKey);
    keys.projectedType = ShortKey(gtif, ProjectedCSTypeGeoKey);
    keys.linearUnits = ShortKey(gtif, ProjLinearUnitsGeoKey);
    GTIFFree(gtif);
    return true;
}

CCalibrationImport ImportGeoTiffFile(const std::string &path, bool &georeferenced)
{
    georeferenced = false;
    CGeoTiffKeys keys;
    CCalibrationImport result;
    if (!ReadGeoTiffKeys(path, keys, result.error))
        return result;
    georeferenced = keys.modelType != 0 || !keys.tiepoints.empty() || !keys.pixelScale.empty()
                    || !keys.transformation.empty();
    if (!georeferenced) {
        result.error = "no georeferencing";
        return result;
    }
    return ImportGeoTiff(keys);
}

std::unique_ptr<CTilePyramid> OpenTiffPyramid(const std::string &path, std::string &error)
{
    error.clear();
    auto handle = std::make_unique<CPooledHandle>();
    handle->tiff.reset(OpenTiff(path, handle->messages));
    if (!handle->tiff) {
        error = handle->messages.error;
        return nullptr;
    }
    if (!TIFFIsTiled(handle->tiff.get()))
        return nullptr;
    auto pyramid = std::make_unique<CTiffPyramid>(path, std::move(handle));
    if (!pyramid->Describe(error))
        return nullptr;
    return pyramid;
}
