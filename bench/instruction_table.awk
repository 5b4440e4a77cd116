# Makes the table of instructions of scripts/bench from the files that callgrind
# wrote. Each holds the count of one measurement, whose name stands in it:
# operation/system/attributes/rounds.

BEGIN {
  split("10 100 1000", columns, " ")
  split("build encode decode decode-read", operations, " ")
  split("ostrel limit limit-in-place xdr msgpack msgpack-structs capnproto",
    systems, " ")
}

/^desc: Trigger: Client Request: / { trigger = $NF }

/^summary: / && trigger != "" {
  split(trigger, part, "/")
  each[part[1], part[2], part[3]] = $2 / part[4] / part[3]
  trigger = ""
}

# A missing figure is a failure, not a zero.
function of(operation, name, column) {
  if ((operation, name, column) in each)
    return each[operation, name, column]
  missing = missing " " operation "/" name "/" column
  return 0
}

function verdict(figure, most) {
  if (figure <= most) return "reached"
  failed = 1
  return "NOT REACHED"
}

function row(operation, name,    i, line) {
  line = sprintf("%-12s %-16s", operation, name)
  for (i = 1; i <= 3; i++)
    line = line sprintf("%11.1f", of(operation, name, columns[i]))
  print line
}

function held(operation, column, most,    figure) {
  figure = of(operation, "ostrel", column)
  printf "%-12s %10s %10.1f %10d  %s\n", operation, column, figure, most,
    verdict(figure, most)
}

END {
  print "Instructions for each attribute (callgrind, shared library)\n"
  printf "%-12s %-16s", "operation", "system"
  for (i = 1; i <= 3; i++) printf "%11s", columns[i]
  print ""
  for (i = 1; i <= 4; i++) {
    for (j = 1; j <= 7; j++) {
      if ((operations[i], systems[j], 100) in each)
        row(operations[i], systems[j])
    }
  }
  print "\nThe library's, and the most that they may be\n"
  printf "%-12s %10s %10s %10s\n", "operation", "attributes", "each", "at most"
  held("decode", 10, 360)
  held("decode", 100, 220)
  held("decode", 1000, 220)
  held("encode", 10, 175)
  held("encode", 100, 135)
  held("encode", 1000, 135)
  held("build", 10, 225)
  held("build", 100, 185)
  held("build", 1000, 185)

  mine = 10 * of("request", "ostrel", 10)
  flat = 10 * of("request", "limit", 10)
  if (flat > 0) {
    print "\nOSrequest for 10 attributes, and the same calls by hand around the"
    print "flat codec: the client's own instructions for each request\n"
    printf "%9.0f /%6.0f = %.2f, at most 3.00: %s\n", mine, flat, mine / flat,
      verdict(mine / flat, 3)
  }
  if (missing != "") print "No figures for" missing
  if (failed || missing != "") exit 1
}
