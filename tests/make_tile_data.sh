#!/bin/sh
# Makes the tile sources the tile tests read, with GDAL's own tools, into OUTDIR:
#   world.jpg + world.jgw   the factory world image and a world file for it (plate carrée)
#   europe.tif              the part of it the tile sets hold, in EPSG:4326
#   europe-tiled.tif        the same as a tiled GeoTIFF without overviews
#   world.mbtiles(.json)    raster MBTiles, zoom 5 (gdal_translate) and 1-4 (gdaladdo); gdalinfo -json of it
#   xyz/ tms/               tile folders of zooms 1-5 (gdal2tiles.py --xyz, and its default TMS)
#   jpeg.mbtiles, webp/     JPEG tiles in an MBTiles, WebP tiles in an XYZ folder of zooms 3-4
#   nometa.mbtiles          world.mbtiles without zooms and bounds in its metadata
#   vector.mbtiles          vector tiles (ogr2ogr, MVT driver)
#   truncated.mbtiles       world.mbtiles cut short
#   notiles.mbtiles         world.mbtiles without its tiles table
# usage: make_tile_data.sh OUTDIR [WORLD_IMAGE]
set -eu
out=$1
image=${2:-/usr/share/xplanet/images/earth.jpg}
rm -rf "$out"
mkdir -p "$out"
cd "$out"

for tool in gdal_translate gdaladdo gdal2tiles.py ogr2ogr python3; do
    command -v "$tool" >/dev/null || { echo "make_tile_data.sh: $tool is missing (gdal-bin)" >&2; exit 1; }
done

cp "$image" world.jpg
# 2048 x 1024 pixels over 360 x 180 degrees; the world file names the centre of the first pixel.
width=$(python3 -c "import struct,sys
d=open('world.jpg','rb').read()
i=2
while i < len(d):
    m=d[i+1]; n=struct.unpack('>H',d[i+2:i+4])[0]
    if m in (0xC0,0xC1,0xC2): print(struct.unpack('>HH',d[i+5:i+9])[1], struct.unpack('>HH',d[i+5:i+9])[0]); break
    i+=2+n")
set -- $width
cols=$1
rows=$2
python3 - "$cols" "$rows" <<'PY' > world.jgw
import sys
cols, rows = int(sys.argv[1]), int(sys.argv[2])
dx, dy = 360.0 / cols, 180.0 / rows
print(f"{dx!r}\n0\n0\n{-dy!r}\n{-180 + dx / 2!r}\n{90 - dy / 2!r}")
PY

export GDAL_PAM_ENABLED=NO
# Europe and North Africa, bounds that are no tile edges, four times enlarged so that the
# tile sets reach zoom 5.
gdal_translate -q -a_srs EPSG:4326 -projwin -12.5 61.3 33.7 27.9 -outsize 400% 400% -r bilinear \
    world.jpg europe.tif
gdal_translate -q -co TILED=YES -co COMPRESS=DEFLATE europe.tif europe-tiled.tif
gdal_translate -q -of MBTILES -co NAME=Europe -co TILE_FORMAT=PNG \
    -co ZOOM_LEVEL_STRATEGY=UPPER europe.tif world.mbtiles
gdaladdo -q -r average world.mbtiles 2 4 8 16
# What GDAL reads back: the tests compare with it.
gdalinfo -json world.mbtiles > world.mbtiles.json
gdal2tiles.py -q --xyz -z 1-5 -w none --processes=1 europe.tif xyz
gdal2tiles.py -q -z 1-5 -w none --processes=1 europe.tif tms
gdal_translate -q -of MBTILES -co TILE_FORMAT=JPEG europe.tif jpeg.mbtiles
gdal2tiles.py -q --xyz --tiledriver=WEBP -z 3-4 -w none --processes=1 europe.tif webp

cat > points.geojson <<'JSON'
{"type": "FeatureCollection", "features": [
 {"type": "Feature", "properties": {"name": "Bern"},
  "geometry": {"type": "Point", "coordinates": [7.44, 46.95]}}]}
JSON
ogr2ogr -q -f MVT -dsco FORMAT=MBTILES -dsco MAXZOOM=3 vector.mbtiles points.geojson

size=$(wc -c < world.mbtiles)
head -c $((size / 2)) world.mbtiles > truncated.mbtiles
cp world.mbtiles notiles.mbtiles
cp world.mbtiles nometa.mbtiles
python3 - nometa.mbtiles <<'PY'
import sqlite3, sys
db = sqlite3.connect(sys.argv[1])
db.execute("delete from metadata where name in ('minzoom', 'maxzoom', 'bounds')")
db.commit()
PY
python3 - notiles.mbtiles <<'PY'
import sqlite3, sys
db = sqlite3.connect(sys.argv[1])
kind = db.execute("select type from sqlite_master where name = 'tiles'").fetchone()[0]
db.execute(f"drop {kind} tiles")
db.commit()
PY
