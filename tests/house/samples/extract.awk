# Turns the samples in the comments of the headers, which stand four blanks deeper than the prose, into one unit that is
# compiled and never run: each in a name space of its own, as it stands where it defines functions, else as the body of one.
# Ends with an error when it has found hardly any.
function finish(    number)
{
    if (count == 0)
        return
    samples += 1
    print "namespace samples::sample" samples " {"
    if (!definition)
        print "[[maybe_unused]] auto const body = [] {"
    print "#line " first " \"" name "\""
    for (number = 1; number <= count; number++)
        print line[number]
    if (!definition)
        print "};"
    print "}"
    count = 0; empty = 0; definition = 0
}

BEGIN { print "#include \"samples/context.h\"" }
FNR == 1 { finish() }
match($0, /^ *\/\/\/?     /) {
    if (count == 0) {
        first = FNR
        name = FILENAME
        sub(/.*\/include\//, "include/", name)
        sub(/.*\/platform\//, "platform/", name)
    }
    for (; empty > 0; empty--)
        line[++count] = ""
    line[++count] = substr($0, RLENGTH + 1)
    if (line[count] == "{")
        definition = 1
    next
}
/^\/\/$/ && count > 0 { empty++; next }
{ finish() }
END {
    finish()
    if (samples < 30) {
        print "only " samples " samples found" > "/dev/stderr"
        exit 1
    }
}
