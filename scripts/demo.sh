#!/bin/sh
# Runs zyl on a picture and puts what comes out on a contact sheet.
#
#     scripts/demo.sh ZYL [PICTURE]
#
# Without a picture, on the project's own test chart. Pictures of any kind do: what an
# operation does not take is converted first.
set -eu

zyl=$1
picture=${2:-}
folder=build/demo
before=$folder/picture.png
rm -rf "$folder"
mkdir -p "$folder"
if [ -n "$picture" ]; then
    case $picture in
    -*) picture=./$picture ;; # no option
    esac
    # Small enough to look at, large enough to see something.
    "$zyl" "$picture" convert:depth=8u thumbnail:size=640 "$before"
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
run auto-level auto-level
run negative invert
run 4-levels and-s:value=0xC0
run dithered gray reduce-bits:dither=stucki
run threshold gray threshold:limit=128
run gaussian-blur gaussian-blur:sigma=4
run unsharp unsharp:sigma=2,amount=2
run edges gray edges
run eroded erode:iterations=2
run turned rotate:degrees=30,interpolate=cubic,fit
run spectrum gray view-spectrum

# shellcheck disable=SC2086 # the names have no blanks
"$zyl" sheet "$folder/sheet.png" $pictures
echo "Before and after: $folder/sheet.png"
