#!/bin/sh
# Runs zyl on a picture and puts what comes out on a contact sheet.
#
#     scripts/demo.sh ZYL [PICTURE]
#
# Without a picture, on the project's own test chart.
set -eu

zyl=$1
picture=${2:-}
folder=build/demo
before=$folder/before.png
rm -rf "$folder"
mkdir -p "$folder"
if [ -n "$picture" ]; then
    "$zyl" "$picture" "$before"
else
    "$zyl" chart "$before"
fi

# run NAME OPERATION...: makes NAME.png from the picture, one more for the sheet.
run() {
    name=$1
    shift
    echo "  zyl $before $* $folder/$name.png"
    "$zyl" "$before" "$@" "$folder/$name.png"
    pictures="$pictures $folder/$name.png"
}

echo "Running zyl:"
pictures=$before
run brighter add-s:value=60
run negative not
run contrast subtract-s:value=64 multiply-s:value=2
run four-levels and-s:value=0xC0
run gray color-to-gray
run hue-saturation rgb2hsv
run spectrum color-to-gray view-spectrum

# shellcheck disable=SC2086 # the names have no blanks
"$zyl" sheet "$folder/sheet.png" $pictures
echo "Before and after: $folder/sheet.png"
