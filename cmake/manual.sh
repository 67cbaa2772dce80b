#!/bin/sh
# manual.sh PROGRAM FOLDER: writes into the folder a compressed manual page for each command of the program, and `done`.
set -eu
program=$1
folder=$2
rm -rf "$folder"
mkdir -p "$folder"
commands=$("$program" --commands)
for command in $commands; do
    "$program" --manual-page "$command" >"$folder/loamtunnel-$command.1"
    gzip -9n "$folder/loamtunnel-$command.1"
done
touch "$folder/done"
