"""gpx_shape.py FILE: a GPX file's track segments and points (position, time), one line each, as
an XML reader sees them: what a track cut off early must begin with."""
import sys
import xml.etree.ElementTree as ET

ns = {"g": "http://www.topografix.com/GPX/1/1"}
for seg in ET.parse(sys.argv[1]).getroot().iterfind("g:trk/g:trkseg", ns):
    print("trkseg")
    for p in seg.iterfind("g:trkpt", ns):
        print(p.get("lat"), p.get("lon"), p.findtext("g:time", "", ns))
