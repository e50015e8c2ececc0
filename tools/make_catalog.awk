# Makes the shipped message catalog from the message table:
#   awk -f tools/make_catalog.awk src/base/messages.def > share/standard/orl_wl.cat
# A row is one line: Z_MSG(number, 'severity', name, "text"); a comment between rows heads a family.

BEGIN {
  print "# The texts of the library's messages. Made from its message table; change them there."
  print "# VENDOR-PRODUCT-NUMBER-SEVERITY, a blank, the text. A translation keeps the conversions"
  print "# (%s, %ld and the like) of each text, in their order."
}

/^\/\/ / && rows_begun { heading = substr($0, 4) }
/^$/ { rows_begun = 1 }

/^Z_MSG\(/ {
  if (heading != "") {
    printf "#\n# %s\n", heading
    heading = ""
  }
  number = substr($1, 7) + 0
  severity = substr($2, 2, 1)
  text = $0
  sub(/^[^"]*"/, "", text)
  sub(/"\)$/, "", text)
  gsub(/\\"/, "\"", text)
  gsub(/\\\\/, "\\", text)
  printf "ORL-WL-%05d-%s %s\n", number, severity, text
}
