#!/bin/sh
# Do the includes keep to the folders? A folder of the library includes itself and those before it in LOAM_FOLDERS
# (CMakeLists.txt), each from the root of the tree, and nothing else but the standard library, of which link/ is free
# to include Asio and the system, and the sources of forms/ a parser of JSON. page/, console/, demo/ and tools/ lie on top, in this order, and are
# free to include what they need of the system. tests/ and bench/ may include whatever they need. No two folders include
# each other, wherever they lie; internal/ belongs to the folder around it. Prints each include that does not keep to
# this, and fails then.
set -eu
cd "$(dirname "$0")/.."

folders=$(sed -n 's/^set(LOAM_FOLDERS \(.*\))$/\1/p' CMakeLists.txt)
programs="page console demo tools"
[ -n "$folders" ] || {
    echo "check-includes: CMakeLists.txt sets no LOAM_FOLDERS" >&2
    exit 1
}
# shellcheck disable=SC2016,SC2086 # the program is awk's, the folders are words
find $folders $programs \( -name '*.h' -o -name '*.cpp' \) -print 2>/dev/null | sort -u | xargs awk -v folders="$folders" -v programs="$programs" '
    BEGIN {
        count = split(folders " " programs, name, " ")
        for (i = 1; i <= count; ++i) {
            level[name[i]] = i
        }
        split(programs, part, " ")
        for (i in part) {
            isOfProgram[part[i]]
        }
    }
    function wrong(why) {
        printf "%s:%d: %s: %s\n", FILENAME, FNR, $0, why
        failed = 1
    }
    # The folder of a file, and the one of the list that it is or lies in; empty for none.
    function folderOf(path) {
        sub("/[^/]*$", "", path)
        sub("/internal$", "", path)
        return path
    }
    function listed(folder) {
        while (!(folder in level) && sub("/[^/]*$", "", folder)) {
        }
        return folder in level ? folder : ""
    }
    FNR == 1 {
        folder = folderOf(FILENAME)
        from = listed(folder)
        top = FILENAME
        sub("/.*", "", top)
        allowed = ""
        for (i = 1; i <= level[from]; ++i) {
            allowed = allowed " " name[i]
        }
    }
    /^[ \t]*#[ \t]*include[ \t]*"/ {
        split($0, part, "\"")
        to = part[2]
        toFolder = folderOf(to)
        to = listed(toFolder)
        if (index(part[2], "/") == 0 || to == "") {
            wrong("write it from the root of the tree, with one of the folders" allowed)
            next
        }
        if (level[to] > level[from]) {
            wrong(from "/ may include only" allowed)
        } else if (toFolder != folder) {
            if ((toFolder, folder) in arrow) {
                wrong(folder "/ and " toFolder "/ include each other, see " arrow[toFolder, folder])
            }
            arrow[folder, toFolder] = FILENAME ":" FNR
        }
    }
    /^[ \t]*#[ \t]*include[ \t]*</ && !(top in isOfProgram) && top != "link" && !(FILENAME ~ /^forms\/.*cpp$/) {
        split($0, part, "[<>]")
        if (part[2] !~ /^([a-z_]+|cxxabi\.h)$/) { # which comes with it
            wrong("the library depends on the C++ standard library alone")
        }
    }
    END { exit failed }
'
