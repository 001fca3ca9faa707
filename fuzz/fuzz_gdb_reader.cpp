// Map database bytes as a damaged or hostile file holds them: decoding must neither crash nor
// allocate by a count; whatever decodes must survive a save and a reload unchanged, and its
// transforms (infinite, NaN or huge scales included) must stay defined behaviour.
#include "maps/MapDatabase.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view bytes(reinterpret_cast<const char *>(data), size);
    CMapList maps;
    const bool whole = DecodeMaps(bytes, maps);

    const CGeoPosition probe(47.5, 11.5, 0.0);
    for (const CMapInfo &map : maps) {
        CMapPoint pixel;
        CGeoPosition position;
        map.PositionToPixel(probe, pixel);
        map.PixelToPosition({map.m_width, map.m_height}, position);
        (void)map.ContainsPosition(position);
    }
    const int chosen = SelectMapForPosition(maps, probe);
    if (chosen >= static_cast<int>(maps.size()))
        __builtin_trap();
    if (!whole)
        return 0;

    // Texts are normalised by the first decode (Latin-1, lone surrogates): from then on stable.
    // NaN in a pair never equals itself, so the bytes are compared, not the maps.
    const std::string saved = EncodeMaps(maps);
    CMapList reloaded;
    if (!DecodeMaps(saved, reloaded) || reloaded.size() != maps.size()
        || EncodeMaps(reloaded) != saved)
        __builtin_trap();
    return 0;
}
