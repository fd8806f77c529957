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
run four-levels and-s:value=0xC0
run hue-saturation rgb2hsv
run dithered color-to-gray convert:depth=16u multiply-s:value=257 reduce-bits:dither=8,bits=1
run threshold color-to-gray threshold:limit=128
run blurred blur:rows=9,columns=9
run edges color-to-gray convolve-2d:kernel=laplace
run eroded erode:iterations=2
run turned rotate:degrees=30,interpolate=cubic
run spectrum color-to-gray view-spectrum

# shellcheck disable=SC2086 # the names have no blanks
"$zyl" sheet "$folder/sheet.png" $pictures
echo "Before and after: $folder/sheet.png"
