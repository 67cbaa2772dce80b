# declare.awk HEADER: the header as a reference should show it. A class that is a list of attributes gets, behind its
# first `public:`, the operations that follow from the list, each with what it does and what its attribute means
# (korTexts), as `loamtunnel schema --cpp` prints them (./dev docs puts them into build/docs/declared, a file a class);
# all on that one line, so that the lines keep their numbers. What an enumeration and its enumerators mean
# (KOR_ENUMERATION) stands before each, and so does what texts tell of operations that are written by hand.

# The text between < and its >, from position `start` behind the <.
function inside(text, start,    depth, i, c) {
    depth = 1
    for (i = start; i <= length(text); ++i) {
        c = substr(text, i, 1)
        if (c == "<" || c == "(") ++depth
        if (c == ">" || c == ")") --depth
        if (depth == 0) return substr(text, start, i - start)
    }
    return ""
}
# Splits at the commas that lie in no brackets.
function split_list(text, parts,    n, depth, i, c, part) {
    n = 0
    depth = 0
    part = ""
    for (i = 1; i <= length(text); ++i) {
        c = substr(text, i, 1)
        if (c == "<" || c == "(") ++depth
        if (c == ">" || c == ")") --depth
        if (c == "," && depth == 0) {
            parts[++n] = trim(part)
            part = ""
        } else {
            part = part c
        }
    }
    if (trim(part) != "") parts[++n] = trim(part)
    return n
}
function trim(text) {
    sub(/^[ \t]+/, "", text)
    sub(/[ \t]+$/, "", text)
    return text
}
function plain(name) {
    sub(/^.*::/, "", name)
    return name
}
function capital(name) {
    return toupper(substr(name, 1, 1)) substr(name, 2)
}
# The first operation of an attribute says what the attribute means.
function say(text, declaration) {
    made = made " /** " (meaning != "" ? meaning " " : "") text " */ " declaration
    meaning = ""
}
# The texts of Kor::texts( from `start` behind it: told[name] for each name; adjacent literals are one.
function read_texts(text, start,    i, c, literal, open, n, words) {
    split("", told)
    n = 0
    literal = ""
    open = 0
    for (i = start; i <= length(text); ++i) {
        c = substr(text, i, 1)
        if (open && c == "\\") {
            literal = literal substr(text, ++i, 1)
        } else if (c == "\"") {
            open = !open
        } else if (open) {
            literal = literal c
        } else if (c == "," || c == ")") {
            words[++n] = literal
            literal = ""
            if (c == ")") break
        }
    }
    for (i = 1; i < n; i += 2) told[words[i]] = words[i + 1] "."
}
# The texts in the body of a class: there, or those that it takes over from a constant of the file.
function texts_of(body,    name) {
    split("", told)
    if (match(body, /korTexts =[ \n]*Kor::texts\(/)) {
        read_texts(body, RSTART + RLENGTH)
    } else if (match(body, /korTexts = [A-Za-z0-9_:]+;/)) {
        name = substr(body, RSTART + 11, RLENGTH - 12)
        sub(/^.*::/, "", name)
        if (match(whole, name " = Kor::texts\\(")) read_texts(whole, RSTART + RLENGTH)
    }
}
# A line of a class that declares what its texts tell, with the text, unless it has words of its own above it.
function with_text(line, above,    name) {
    if (line !~ /^    [A-Za-z]/ || above ~ /^ *\/\/\//) return line
    for (name in told) {
        if (name ~ /[ (]/ && index(line, " " name) > 0) return "    /** " told[name] " */ " substr(line, 5)
    }
    return line
}
# The enumeration that begins in a line: what it and its enumerators mean stands behind it.
function enumeration(i,    name, j, each) {
    name = lines[i]
    sub(/^ *enum /, "", name)
    sub(/[ :{].*$/, "", name)
    if (!match(whole, "KOR_(NESTED_)?ENUMERATION\\(" name ",")) return
    read_texts(whole, RSTART + RLENGTH)
    if (lines[i - 1] !~ /^ *\/\/\//) lines[i] = "/** " told[""] " */ " lines[i]
    for (j = i + 1; j <= NR && lines[j] !~ /^ *};/; ++j) {
        each = trim(lines[j])
        sub(/ =.*$/, "", each)
        if (each in told) lines[j] = "/** " told[each] " */ " lines[j]
    }
}
# What an operation does, by how its name goes on from that of its attribute.
function does(name, attribute, line,    rest, of, tells) {
    of = line ~ /\([^)]* key[,)]/ ? "of that key" : line ~ /\(U32 number[,)]/ ? "of that number" : ""
    tells = isValue ? "." : ", and tells the reactors (`on" capital(attribute) "`); nothing happens if it is the same."
    if (name == attribute) return of == "" ? "" : "What is there " of ", or the default or null."
    if (name == "new" capital(attribute)) return "The same; gives the member."
    rest = substr(name, length(attribute) + 1)
    if (index(name, attribute) != 1) return ""
    if (rest == "Is") return line ~ /ValidPtr</ ? "The child of that key, made if there is none." : "Sets it" (of == "" ? "" : " in the place " of) tells
    if (rest == "Inc") return "Adds to the count; the new count."
    if (rest == "Dec") return "Takes from the count; the new count."
    if (rest == "Del") return of == "" ? "Takes out the member at which the iterator stands." : "Takes it out; what was there, or the default or null."
    if (rest == "DelAll") return "Takes all out."
    if (rest == "Notify") return "Tells the reactors " of " again (`on" capital(attribute) "`)."
    if (rest == "Map" || rest == "Queue") return "All members, for a walk."
    if (rest == "Iterator") return "A walk that goes on whatever is inserted or deleted meanwhile."
    if (rest == "Enq") return "Adds at the end."
    if (rest == "Deq") return "Takes the first."
    return ""
}
# What `loamtunnel schema --cpp` prints of the operations of a class, but for those that its body has.
function printed(name,    file, line, attribute, text, operation, isWithin, what) {
    file = "build/docs/declared/" space name
    gsub(/::/, "-", file)
    isWithin = 0
    text = ""
    while ((getline line < file) > 0) {
        if (line ~ /^public:/) isWithin = 1
        else if (line ~ /^};/) isWithin = 0
        else if (isWithin && line ~ /^ *\/\/\/ /) {
            sub(/^ *\/\/\/ /, "", line)
            if (match(line, /^[A-Za-z0-9_]+: /)) {
                attribute = substr(line, 1, RLENGTH - 2)
                line = substr(line, RLENGTH + 1)
                text = ""
            }
            text = text (text == "" ? "" : " ") line
        } else if (isWithin && line ~ /^ *$/) {
            text = attribute = ""
        } else if (isWithin) {
            line = trim(line)
            operation = line
            sub(/ *\(.*$/, "", operation)
            sub(/^.*[ *&]/, "", operation)
            if (line ~ /\(/ && members ~ ("[ *&]" operation "\\(")) continue
            what = ""
            if (match(line, / *\/\/\/< .*$/)) {
                what = substr(line, RSTART + 6)
                line = substr(line, 1, RSTART - 1)
            } else {
                if (line ~ /\(/ && attribute != "") what = does(operation, attribute, line)
                if (text != "" && what != "") what = text (text ~ /[.!?]$/ ? " " : ". ") what
                else if (text != "") what = text
                text = ""
            }
            made = made (what != "" ? " /** " what " */ " : " ") line
        }
    }
    close(file)
}
function field(text,    parts, name, type) {
    split_list(inside(text, index(text, "<") + 1), parts)
    name = plain(parts[2])
    type = parts[3]
    say("The field, 0 where the row lacks it.", type " " name "() const;")
    say("Sets the field, which the row must have.", "void " name "Is(" type " value);")
    say("Its width in bits, 0 where the row lacks it.", "U16 " name "Len() const;")
    say("Whether the row has it.", "bool is" capital(name) "Valid() const;")
    say("Its lowest bit.", "U16 " name "Offset() const;")
}
function declarations(head,    what, list, n, parts, i) {
    made = ""
    if (match(head, /(EntityOf|EntityOver|ObjectOf|ValueOf|DerivedValueOf)</)) {
        what = substr(head, RSTART, RLENGTH - 1)
        list = inside(head, RSTART + RLENGTH)
        split_list(list, parts)
        isValue = what ~ /Value/
        printed(plain(parts[1]))
    } else if (head ~ /RowOf</ && fields != "") {
        meaning = ""
        n = split_list(fields, parts)
        for (i = 1; i <= n; ++i) field(parts[i])
    }
    return made
}

{
    lines[NR] = $0
    whole = whole " " $0
}
END {
    for (i = 1; i <= NR; ++i) {
        if (lines[i] ~ /^namespace [A-Za-z:]+ \{/) {
            space = lines[i]
            sub(/^namespace /, "", space)
            sub(/ .*$/, "::", space)
        }
        if (lines[i] ~ /using Fields = FieldList</) {
            fields = ""
            for (j = i; j <= NR && lines[j] !~ /;[ \t]*$/; ++j) fields = fields " " lines[j]
            fields = fields " " lines[j]
            fields = inside(fields, index(fields, "FieldList<") + 10)
        }
        if (match(lines[i], /^KOR_FACTORY\(/)) {
            given = split_list(inside(lines[i], RSTART + RLENGTH), parts)
            lines[i] = "/** A new one, of which the caller has the one reference. */ Kor::Ptr<" parts[2] "> " parts[1] "(" (given > 2 ? parts[3] " argument" : "") ");"
        }
        if (lines[i] ~ /^ *enum [A-Za-z]/) enumeration(i)
        if (lines[i] ~ /^(class|struct) / && lines[i] !~ /;[ \t]*$/) {
            head = ""
            for (j = i; j <= NR && lines[j] !~ /\{[ \t]*$/; ++j) head = head " " lines[j]
            head = head " " lines[j]
            body = ""
            members = "" # what the class itself declares
            for (k = j + 1; k <= NR && lines[k] !~ /^};/; ++k) {
                body = body " " lines[k]
                member = lines[k]
                sub(/[{].*$/, "", member)
                if (member ~ /^    [A-Za-z[]/) members = members member
            }
            texts_of(body)
            # They are told where they belong.
            for (k = j + 1; k <= NR && lines[k] !~ /^};/; ++k) {
                if (lines[k] ~ /korTexts =/) {
                    while (lines[k] !~ /;[ \t]*$/) lines[k++] = ""
                    lines[k] = ""
                }
            }
            if (told[""] != "" && lines[i - 1] !~ /^\/\/\//) lines[i] = "/** " told[""] " */ " lines[i]
            for (k = j + 1; k <= NR && lines[k] !~ /^};/; ++k) lines[k] = with_text(lines[k], lines[k - 1])
            for (k = j + 1; k <= NR && lines[k] !~ /^};/; ++k) {
                if (lines[k] ~ /^public:/) {
                    lines[k] = lines[k] declarations(head)
                    break
                }
            }
        }
        print lines[i]
    }
}
