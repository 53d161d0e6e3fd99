# Turns the plain Markdown of docs/ into scdoc, so that a page of the manual says what the document says. Knows headings,
# paragraphs, lists, tables and code; the first heading is the page's own business.
function inline(text) {
    while (match(text, /\[[^]]*\]\([^)]*\)/)) {
        link = substr(text, RSTART, RLENGTH)
        sub(/\]\(.*/, "", link)
        text = substr(text, 1, RSTART - 1) substr(link, 2) substr(text, RSTART + RLENGTH)
    }
    gsub(/\*\*/, "", text)
    gsub(/_/, "\\_", text)
    gsub(/`/, "*", text)
    return text
}
function end_code() { if (in_code) print "```"; in_code = 0 }
function end_table() { if (in_table) print ""; in_table = 0 }

fenced && /^```/ { print "```"; print ""; fenced = 0; next }
fenced { print; next }
/^    / && !in_list { end_table(); if (!in_code) print "```"; in_code = 1; print substr($0, 5); next }
in_code && /^$/ { held = 1; next }
{ if (in_code) { end_code(); print "" } held = 0 }
/^```/ { end_table(); print "```"; fenced = 1; next }
/^# / { next }
/^## / { end_table(); print "# " toupper(inline(substr($0, 4))); in_list = 0; next }
/^###+ / { end_table(); sub(/^#+ /, ""); print "## " inline($0); in_list = 0; next }
/^\|[-| ]+\|$/ { next }
/^\|[ |]+\|$/ { next }
/^\|/ {
    count = split(substr($0, 2, length($0) - 2), cells, "|")
    for (i = 1; i <= count; i++) {
        cell = cells[i]
        gsub(/^ +| +$/, "", cell)
        mark = i == 1 ? (in_table ? "|  " : "[[ ") : (in_table ? ":  " : ":< ")
        print mark inline(cell)
    }
    in_table = 1
    next
}
/^$/ { end_table(); in_list = 0; print ""; next }
/^- / { in_list = 1 }
{ end_table(); print inline($0) }
END { end_code(); end_table() }
