#!/bin/bash
# measure.sh's ps and open: log the start, who asked (past popen's shell), its own reads so far.
stamp=$EPOCHREALTIME
read -r _ parent _ grandparent _ <"/proc/$PPID/stat"
[[ $parent == "(sh)" ]] && asker=$grandparent || asker=$PPID
mapfile -t io <"/proc/$asker/task/$asker/io"
echo "$stamp $asker ${io[2]#syscr: }" >>"$ZEB_MEASURE_FOLDER/${0##*/}.log"
[[ $0 == */ps ]] || exit 0
listing=$ZEB_MEASURE_FOLDER/listing.$asker # one of its own, once, when the script laid one out
[[ -e $listing ]] || listing=$ZEB_MEASURE_FOLDER/listing
cat "$listing"
rm -f "$ZEB_MEASURE_FOLDER/listing.$asker"
