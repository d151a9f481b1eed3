#!/bin/bash
# bench/measure.sh's ps and open: note the time, the program that asked (past the shell of popen)
# and that program's own read calls so far; ps then prints the session's listing.
stamp=$EPOCHREALTIME
read -r _ parent _ grandparent _ <"/proc/$PPID/stat"
asker=$PPID
[[ $parent != "(sh)" ]] || asker=$grandparent
mapfile -t io <"/proc/$asker/task/$asker/io"
echo "$stamp $asker ${io[2]#syscr: }" >>"$ZEB_MEASURE_FOLDER/${0##*/}.log"
[[ $0 != */ps ]] || cat "$ZEB_MEASURE_FOLDER/listing"
