# The tables of bench/routes, from its measurements: a file of lines route=title, then one of lines
# place route clients who rate median late host server switches others.

function sorted_values(key,    text, n, i, j, t) {
  n = split(values[key], list, " ")
  for (i = 2; i <= n; ++i)
    for (j = i; j > 1 && list[j] + 0 < list[j - 1] + 0; --j) {
      t = list[j]
      list[j] = list[j - 1]
      list[j - 1] = t
    }
  return n
}
function median(key,    n) {
  n = sorted_values(key)
  return n == 0 ? 0 : n % 2 ? list[(n + 1) / 2] : (list[n / 2] + list[n / 2 + 1]) / 2
}
function with_spread(key,    middle, n) {
  if (!(key in values)) return ""
  middle = median(key)
  n = sorted_values(key)
  return sprintf("%.0f (%.0f-%.0f)", middle, list[1], list[n])
}
function ratio(a, b) { return (a in values) && (b in values) && median(b) > 0 ? sprintf("%.2f", median(a) / median(b)) : "" }
# The medians of both programs, the older one first, or that of one.
function both(name, key, format) {
  return (key " old " name in values ? sprintf(format, median(key " old " name)) " to " : "") \
    sprintf(format, median(key " new " name))
}
function note(key, name, value) { values[key " " name] = values[key " " name] " " value }

FNR == NR { title[substr($0, 1, index($0, "=") - 1)] = substr($0, index($0, "=") + 1); next }
{
  key = $1 " " $2 " " $3
  if (!(key in seen)) order[++count] = key
  seen[key] = 1
  note(key " " $4, "rate", $5)
  note(key " " $4, "median", $6)
  note(key " " $4, "late", $7)
  note(key " " $4, "host", $8)
  note(key " " $4, "server", $9)
  note(key " " $4, "switches", $10)
  if ($4 != "pgbench") note(key, "others", $11)
}
END {
  for (i = 1; i <= count; ++i) {
    key = order[i]
    split(key, part, " ")
    if (part[1] != place) {
      place = part[1]
      print "\n" (place == "empty" ? "Small tables" : "At the limits") ":\n"
      print "| route | clients | before: a second | a second | of before | of pgbench | median ms | 99 % ms | host us | server us | switches | others |"
      print "|---|---|---|---|---|---|---|---|---|---|---|---|"
    }
    printf "| %s | %d | %s | %s | %s | %s | %s | %s | %s | %s | %s | %.2f |\n", title[part[2]], part[3],
      with_spread(key " old rate"), with_spread(key " new rate"), ratio(key " new rate", key " old rate"),
      ratio(key " new rate", key " pgbench rate"), both("median", key, "%.1f"), both("late", key, "%.1f"),
      both("host", key, "%.0f"), both("server", key, "%.0f"), both("switches", key, "%.1f"), median(key " others")
  }
}
