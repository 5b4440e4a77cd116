# Makes the table of scripts/bench from the CSV of many passes of answer_bench:
# the medians of the CPU time, in nanoseconds for each attribute, and the ratios
# of medians. What was measured with fewer than `least` additions a nanosecond
# does not count.

BEGIN {
  FS = ","
  columnCount = split("1 10 100 1000 shuffled shuffled-1000 reshuffled",
    columns, " ")
  operationCount = split("build build-names encode decode decode-read print",
    operations, " ")
  systemCount = split("ostrel limit limit-in-place xdr msgpack " \
    "msgpack-structs capnproto", systems, " ")
}

# A benchmark that failed has no figure.
/^"/ && $4 > 0 {
  gsub(/"/, "", $1)
  measured[$1]
  all++
  if ($11 < least) next
  counted++
  figures[$1] = figures[$1] " " $4
}

function medianOf(text,    figure, count, i, j, moving) {
  count = split(text, figure, " ")
  for (i = 2; i <= count; i++) {
    moving = figure[i]
    for (j = i; j > 1 && figure[j - 1] + 0 > moving + 0; j--)
      figure[j] = figure[j - 1]
    figure[j] = moving
  }
  i = int((count + 1) / 2)
  return count % 2 ? figure[i] : (figure[i] + figure[i + 1]) / 2
}

function attributesIn(column) {
  if (column == "shuffled-1000") return 1000
  return column ~ /shuffled/ ? 100 : column
}

# A missing figure is a failure, not a zero.
function of(operation, name, column) {
  if ((operation, name, column) in median)
    return median[operation, name, column]
  missing = missing " " operation "/" name "/" column
  return 0
}

function row(operation, name,    i, line) {
  line = sprintf("%-12s %-16s", operation, name)
  for (i = 1; i <= columnCount; i++)
    line = line sprintf("%14.1f", of(operation, name, columns[i]))
  print line
}

function ratio(operation, name, column, most,    mine, theirs, r) {
  mine = of(operation, "ostrel", column)
  theirs = of(operation, name, column)
  if (theirs == 0) return
  r = mine / theirs
  printf "%-12s %-16s %-13s %8.2f", operation, name, column, r
  if (most > 0) printf " %10.2f  %s", most, r <= most ? "reached" : "NOT REACHED"
  print ""
}

END {
  fewest = all
  for (name in measured) {
    few = split(figures[name], each, " ")
    if (few < fewest) fewest = few
    if (few == 0) continue
    split(name, part, "/")
    figure = medianOf(figures[name]) / attributesIn(part[3])
    median[part[1], part[2], part[3]] = figure
  }
  printf "%d of %d measurements count, made with %.1f additions a nanosecond or\n",
    counted, all, least
  printf "more. Each median is one of %d figures or more.\n\n", fewest
  print "Nanoseconds for each attribute (medians of the CPU time)\n"
  printf "%-12s %-16s", "operation", "system"
  for (i = 1; i <= columnCount; i++) printf "%14s", columns[i]
  print ""
  for (i = 1; i <= operationCount; i++) {
    for (j = 1; j <= systemCount; j++) {
      if ((operations[i] "/" systems[j] "/100") in measured)
        row(operations[i], systems[j])
    }
  }
  print "\nThe library's median divided by another's, and the most that it may be\n"
  printf "%-12s %-16s %-13s %8s %10s\n", "operation", "other system",
    "attributes", "ratio", "at most"
  ratio("decode", "msgpack", 10, 0.60)
  ratio("decode", "msgpack", 100, 0.45)
  ratio("decode", "msgpack", 1000, 0.45)
  ratio("decode", "msgpack", "shuffled-1000", 0.50)
  ratio("decode-read", "capnproto", 10, 1.2)
  ratio("decode-read", "capnproto", 100, 1.0)
  ratio("decode-read", "capnproto", 1000, 1.0)
  ratio("encode", "xdr", 10, 0.55)
  ratio("encode", "xdr", 100, 0.55)
  ratio("encode", "xdr", 1000, 0.55)
  ratio("build", "msgpack", 10, 1.7)
  ratio("build", "msgpack", 100, 1.7)
  ratio("build", "msgpack", 1000, 1.7)
  ratio("encode", "limit", 100, 1.7)
  ratio("decode", "limit", 100, 2.4)
  ratio("encode", "xdr", "shuffled", 0.6)
  ratio("decode", "msgpack", "shuffled", 1.0)
  print "\nOther ratios, which are held to nothing\n"
  ratio("build", "msgpack-structs", 100, 0)
  ratio("build-names", "msgpack", 100, 0)
  ratio("decode", "msgpack-structs", 100, 0)
  ratio("decode", "limit-in-place", 100, 0)
  ratio("decode-read", "limit-in-place", 100, 0)
  ratio("encode", "msgpack-structs", 100, 0)
  ratio("encode", "xdr", "reshuffled", 0)
  ratio("decode", "msgpack", "reshuffled", 0)
  if (missing != "") {
    print "No figures for" missing
    exit 1
  }
}
