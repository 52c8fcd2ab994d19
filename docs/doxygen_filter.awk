# Doxygen input filter for vorn's headers.
#
# The headers use plain // comments: a leading block that describes the
# header's class (or its functions) with an example, and comments in front of
# members. This filter turns them into documentation comments as Doxygen
# reads them: the leading block moves in front of the first class defined at
# namespace level (or documents the file when there is none) and joins the
# subsystem's group; indented example lines become code blocks; characters
# that Doxygen would read as commands or markup are escaped outside code.

function flush_code() {
  if (in_code) { out = out "/// \\endcode\n"; in_code = 0 }
}

# Escapes \ @ < > & outside `code spans`.
function escape_text(text,    result, parts, n, i) {
  n = split(text, parts, "`")
  result = ""
  for (i = 1; i <= n; i++) {
    if (i % 2 == 1) {
      gsub(/\\/, "\\\\", parts[i]); gsub(/@/, "\\@", parts[i])
      gsub(/</, "\\<", parts[i]); gsub(/>/, "\\>", parts[i]); gsub(/&/, "\\&", parts[i])
      gsub(/#/, "\\#", parts[i]); gsub(/%/, "\\%", parts[i])
    }
    result = result parts[i] (i < n ? "`" : "")
  }
  return result
}

# Converts one // comment line (without its indentation) into /// form,
# opening or closing a code block around indented example lines.
function convert(line, indent,    text) {
  text = line
  sub(/^\/\/ ?/, "", text)
  # A list item ("- ...") continues on lines indented by two spaces; only
  # deeper lines in a list are code.
  if (text ~ /^- /) in_list = 1
  else if (text !~ /^  /) in_list = 0
  if (in_list && text ~ /^  [^ ]/) {
    if (in_code) { out = out indent "/// \\endcode\n"; in_code = 0 }
    return indent "/// " escape_text(text) "\n"
  }
  if (text ~ /^  / ) {
    if (!in_code) { out = out indent "/// \\code\n"; in_code = 1 }
    return indent "/// " text "\n"
  }
  if (in_code && text ~ /^$/) return indent "///\n"
  if (in_code) { out = out indent "/// \\endcode\n"; in_code = 0 }
  return indent "/// " escape_text(text) "\n"
}

BEGIN { state = "lead"; lead = ""; in_code = 0; in_list = 0; placed = 0 }

{
  line = $0
  if (state == "lead") {
    if (line ~ /^\/\//) {
      out = ""
      c = convert(line, "")
      lead = lead out c
      next
    }
    if (in_code) { lead = lead "/// \\endcode\n"; in_code = 0 }
    state = "body"
    group = FILENAME
    sub(/^.*vorn\//, "", group)
    sub(/\/.*$/, "", group)
    if (group ~ /\.h$/) group = ""
  }

  # The leading block documents the first class or struct defined at
  # namespace level.
  if (!placed && lead != "" && line ~ /^(template *<.*> *)?(class|struct) +[A-Za-z_][A-Za-z_0-9]*( *[:{].*)?$/ && line !~ /;$/) {
    printf "%s", lead
    if (group != "") printf "/// \\ingroup %s\n", group
    placed = 1
  }
  if (!placed && lead != "" && line ~ /^template *<.*>$/) {
    pending_template = line
    next
  }
  if (pending_template != "") {
    if (!placed && line ~ /^(class|struct) +[A-Za-z_][A-Za-z_0-9]*/ && line !~ /;$/) {
      printf "%s", lead
      if (group != "") printf "/// \\ingroup %s\n", group
      placed = 1
    }
    print pending_template
    pending_template = ""
  }

  if (line ~ /^[ \t]*\/\/[^\/]/ || line ~ /^[ \t]*\/\/$/) {
    indent = line
    sub(/\/\/.*$/, "", indent)
    stripped = line
    sub(/^[ \t]*/, "", stripped)
    out = ""
    c = convert(stripped, indent)
    printf "%s%s", out, c
    next
  }
  if (in_code) { printf "%s/// \\endcode\n", indent; in_code = 0 }
  print line
}

END {
  if (!placed && lead != "") {
    # A header of free functions: its leading block documents the file.
    printf "/// \\file\n%s", lead
    if (group != "") printf "/// \\ingroup %s\n", group
  }
}
