# Turns what PostgreSQL logged of one request into a script for pgbench; bench/routes uses it.
#
# Texts stay as sent except for keys: each is drawn again from its sequence and replaces the logged one. The host's
# periodic statements, its reads of users, and those that open a connection are left out. A text must not contain
# ");INSERT " inside quotes.

function finish(    start, key) {
  if (text == "" || text ~ /^SET |^SELECT revision FROM platform\.camera_list|^SELECT .* FROM platform\.users/) return
  sub(/[; ]+$/, "", text)
  gsub(/\);INSERT /, ")\\;INSERT ", text)
  if (text ~ /^SELECT NEXTVAL/) {
    print text " \\gset k" ++drawn "_"
    return
  }
  if (text ~ /^INSERT INTO evidence\.(evidence|operation_log) / && match(text, /VALUES \([0-9]+, /)) {
    start = RSTART + 8
    key = substr(text, start, RLENGTH - 10)
    text = substr(text, 1, start - 1) ":k" ++used "_nextval" substr(text, start + length(key))
    if (text ~ /^INSERT INTO evidence\.evidence /) own = key
    else if (own != "") sub("_nextval, " own ",", "_nextval, :k1_nextval,", text)
  }
  print text ";"
}

/^@/ {
  finish()
  text = /^@routes_new LOG:  statement: / ? substr($0, length("@routes_new LOG:  statement: ") + 1) : ""
  next
}
text != "" { text = text "\n" substr($0, 2) }
END { finish() }
