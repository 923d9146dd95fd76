# Gives doxygen the headers as people read them: a comment holds for all declarations below it, up to an empty line.
# Keeps the numbers of the lines.
{
    match($0, /^ */)
    indentation = RLENGTH
}
/^ *\/\/\// {
    if (indentation != level || !commented) comment = ""
    comment = comment " " substr($0, indentation + 4)
    level = indentation
    commented = 1
    print
    next
}
NF == 0 || indentation < level { comment = "" }
# Declarations that go on stand further in, or behind a line that does not end one.
comment != "" && !commented && complete && indentation == level && !/^ *[}#\/~]|= delete;/ { $0 = "/**" comment " */ " $0 }
{
    commented = 0
    complete = $0 ~ /[;}]( *\/\/.*)?$/
    print
}
