#!/bin/sh
# Draws the About box's picture (ui/about/about.png) with ImageMagick. The text of the box is
# laid over the light panel at (180, 115)-(375, 280), so the panel keeps the box's colour.
set -e
out="${1:-$(dirname "$0")/../ui/about/about.png}"
convert -size 560x320 gradient:'#1d3557'-'#457b9d' \
    -fill '#0b1320' -draw 'roundrectangle 22,40 160,190 12,12' \
    -fill '#6fa8dc' -draw 'roundrectangle 32,50 150,160 8,8' \
    -fill '#e63946' -draw 'rectangle 40,70 62,140' \
    -fill '#f1c453' -draw 'rectangle 62,70 84,140' \
    -fill '#2a9d8f' -draw 'rectangle 84,70 106,140' \
    -fill '#f1faee' -draw 'rectangle 106,70 128,140' \
    -fill '#8d99ae' -draw 'rectangle 128,70 142,140' \
    -fill '#0b1320' -draw 'rectangle 80,190 102,210' -draw 'rectangle 50,210 132,218' \
    -fill '#e63946' -draw 'circle 140,176 146,176' \
    -fill '#a2c7e3' -draw 'roundrectangle 174,109 381,286 10,10' \
    -fill '#f1faee' -font DejaVu-Sans-Bold -pointsize 54 -annotate +180+88 'Tavro' \
    -fill '#a8dadc' -font DejaVu-Sans -pointsize 15 -annotate +184+305 'watch and record live television' \
    -depth 8 -strip "$out"
