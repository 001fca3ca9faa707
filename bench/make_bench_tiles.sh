#!/bin/sh
# A ten-level MBTiles of a whole country for the tile benchmarks, made with GDAL from the
# factory world image: Germany enlarged to zoom 13 (gdal_translate, through a virtual raster
# rather than a 2-gigapixel file), zooms 12 to 4 averaged down (gdaladdo; zoom 4 holds the
# whole country in one tile). About 64,000 JPEG tiles, as most raster MBTiles carry; some
# minutes to make. Not kept in the repository.
# usage: bench/make_bench_tiles.sh OUT.mbtiles [WORLD_IMAGE]
set -eu
out=$1
image=${2:-/usr/share/xplanet/images/earth.jpg}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for tool in gdal_translate gdaladdo python3; do
    command -v "$tool" >/dev/null || { echo "make_bench_tiles.sh: $tool is missing (gdal-bin)" >&2; exit 1; }
done
export GDAL_PAM_ENABLED=NO
cp "$image" "$work/world.jpg"
# The world file: 360 x 180 degrees over the image, naming the first pixel's centre.
python3 - "$work/world.jpg" > "$work/world.jgw" <<'PY'
import struct, sys
d = open(sys.argv[1], 'rb').read()
i = 2
while i < len(d):
    m = d[i + 1]
    n = struct.unpack('>H', d[i + 2:i + 4])[0]
    if m in (0xC0, 0xC1, 0xC2):
        rows, cols = struct.unpack('>HH', d[i + 5:i + 9])
        break
    i += 2 + n
dx, dy = 360.0 / cols, 180.0 / rows
print(f"{dx!r}\n0\n0\n{-dy!r}\n{-180 + dx / 2!r}\n{90 - dy / 2!r}")
PY
# 360 / 2^21 degrees a pixel: zoom 13's resolution at the equator, so GDAL picks zoom 13.
gdal_translate -q -of VRT -a_srs EPSG:4326 -projwin 5.8 55.1 15.1 47.2 -outsize 54177 46023 \
    -r bilinear "$work/world.jpg" "$work/country.vrt"
rm -f "$out"
gdal_translate -q -of MBTILES -co NAME=Germany -co TILE_FORMAT=JPEG -co QUALITY=85 \
    -co ZOOM_LEVEL_STRATEGY=UPPER "$work/country.vrt" "$out"
gdaladdo -q -r average "$out" 2 4 8 16 32 64 128 256 512
