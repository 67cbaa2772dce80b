# declare.awk HEADER: the header as a reference should show it. A class that is a list of attributes gets, behind its
# first `public:`, the operations that follow from the list, each with what it does and what its attribute means
# (korTexts); all on that one line, so that the lines keep their numbers. What an enumeration and its enumerators mean
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
# The result and the arguments of a signature, Arg<name::x, T> as T x.
function operation(before, name, signature, after, text,    result, arguments, parts, n, i, both, all) {
    result = signature
    sub(/\(.*$/, "", result)
    arguments = substr(signature, length(result) + 2)
    sub(/\)[^)]*$/, "", arguments)
    n = split_list(arguments, parts)
    all = ""
    for (i = 1; i <= n; ++i) {
        if (parts[i] ~ /^(Kor::)?Arg</) {
            split_list(inside(parts[i], index(parts[i], "<") + 1), both)
            parts[i] = both[2] " " plain(both[1])
        }
        all = all (i > 1 ? ", " : "") parts[i]
    }
    say(text, before result " " name "(" all ")" after ";")
}
function map_operations(name, key, value) {
    say("Takes it out; what was there, or the default.", value " " name "Del(" key " const& key);")
    say("Takes all out.", "void " name "DelAll();")
    say("Tells the reactors of that key again (`on" capital(name) "`).", "void " name "Notify(" key " const& key);")
    say("All members, for a walk.", "auto const& " name "Map() const;")
}
function attribute(text,    kind, parts, n, name, type, word, tells) {
    kind = text
    sub(/<.*$/, "", kind)
    kind = plain(kind)
    n = split_list(inside(text, index(text, "<") + 1), parts)
    name = plain(parts[1])
    type = parts[2]
    meaning = told[name]
    tells = "tells the reactors (`on" capital(name) "`)"
    if (kind == "Stored") {
        say("Stored, set by the constructor.", type " " name "() const;")
    } else if (kind == "Settable") {
        say("Stored.", type " " name "() const;")
        say("Sets it.", "void " name "Is(" type " value);")
    } else if (kind == "View") {
        word = plain(parts[3])
        say("Bits " parts[5] ":" parts[4] " of `" word "`.", type " " name "() const;")
        say("Sets bits " parts[5] ":" parts[4] " of `" word "`; what does not fit is cut.", "void " name "Is(" type " value);")
    } else if (kind == "Computed") {
        say("Computed.", type " " name "() const;")
    } else if (kind == "Constant") {
        say("A constant of the class.", "static constexpr " type " " name " = " parts[3] ";")
    } else if (kind == "Operation" || kind == "VirtualOperation" || kind == "ClassOperation") {
        if (body !~ ("[^A-Za-z0-9_]" name "\\(")) {
            operation(kind == "ClassOperation" ? "static " : kind == "VirtualOperation" ? "virtual " : "", name, type, "", "An operation that is also reached by its name.")
        }
    } else if (kind == "KeyAttribute" || kind == "FixedAttribute") {
        say("Set by the constructor" (kind == "KeyAttribute" ? "; the key in a parent's map." : "."), type " " name "() const;")
    } else if (kind ~ /Singleton/) {
        if (kind == "SingletonReference") type = "Kor::Ptr<" type ">"
        say("The value.", type " " name "() const;")
        say("Sets it, and " tells "; nothing happens if it is the same.", (kind ~ /^Virtual/ ? "virtual " : "") "void " name "Is(" type " value);")
    } else if (kind == "ValueMap" || kind == "CountedMap" || kind == "CountedUpMap") {
        say("The value of that key, or the default.", parts[3] " " name "(" type " const& key) const;")
        say("Sets the value of that key, and " tells "; nothing happens if it is the same.", "void " name "Is(" type " const& key, " parts[3] " const& value);")
        if (kind ~ /^Counted/) say("Adds to the count; the new count.", "U32 " name "Inc(" type " const& key, U32 delta);")
        if (kind == "CountedMap") say("Takes from the count; the new count.", "U32 " name "Dec(" type " const& key, U32 delta);")
        map_operations(name, type, parts[3])
    } else if (kind == "KeyedMap") {
        say("The member whose `" plain(parts[3]) "` is that, or the default.", type " " name "(KeyType const& key) const;")
        say("Puts it in the place of its key, and " tells "; nothing happens if it is the same.", "void " name "Is(" type " const& value);")
        map_operations(name, "KeyType", type)
    } else if (kind == "EntityMap") {
        say("The child of that key, or null.", "Kor::Ptr<" type "> " name "(KeyType const& key);")
        say("The child of that key, made if there is none.", "Kor::ValidPtr<" type "> " name "Is(KeyType const& key);")
        map_operations(name, "KeyType", "Kor::Ptr<" type ">")
    } else if (kind == "ReferenceMap") {
        say("The entity of that key, or null.", "Kor::Ptr<" parts[3] "> " name "(" type " const& key);")
        say("Refers to that entity.", "void " name "Is(" type " const& key, Kor::Ptr<" parts[3] "> const& value);")
        map_operations(name, type, "Kor::Ptr<" parts[3] ">")
    } else if (kind == "Queue") {
        say("The member of that number, or the default.", type " " name "(U32 number) const;")
        say("Adds at the end.", "void " name "Enq(" type " const& value);")
        say("Takes the first.", type " " name "Deq();")
        say("Sets the member of that number.", "void " name "Is(U32 number, " type " const& value);")
        say("Takes out the member of that number.", type " " name "Del(U32 number);")
    }
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
function declarations(head,    at, what, list, n, parts, i, first) {
    made = ""
    if (match(head, /(EntityOf|EntityOver|ObjectOf|ValueOf|DerivedValueOf)</)) {
        what = substr(head, RSTART, RLENGTH - 1)
        list = inside(head, RSTART + RLENGTH)
        first = what ~ /Over$|^Derived/ ? 3 : 2
        n = split_list(list, parts)
        for (i = first; i <= n; ++i) attribute(parts[i])
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
        if (lines[i] ~ /using Fields = FieldList</) {
            fields = ""
            for (j = i; j <= NR && lines[j] !~ /;[ \t]*$/; ++j) fields = fields " " lines[j]
            fields = fields " " lines[j]
            fields = inside(fields, index(fields, "FieldList<") + 10)
        }
        if (lines[i] ~ /^ *enum [A-Za-z]/) enumeration(i)
        if (lines[i] ~ /^(class|struct) / && lines[i] !~ /;[ \t]*$/) {
            head = ""
            for (j = i; j <= NR && lines[j] !~ /\{[ \t]*$/; ++j) head = head " " lines[j]
            head = head " " lines[j]
            body = ""
            for (k = j + 1; k <= NR && lines[k] !~ /^};/; ++k) body = body " " lines[k]
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
