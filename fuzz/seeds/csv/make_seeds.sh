#!/bin/sh
# make_seeds.sh: writes the CSV seeds of fuzz_csv into this folder. The texts
# are the parser tests' cases and a small table, written in UTF-8 and turned by
# iconv into ISO-8859-1, one byte per character, as the target reads its input
# (bytes 0x80..0x8F stand for line ends, white space and surrogates there;
# U+0085 stays U+0085).
set -eu
cd "$(dirname "$0")"
tmp=$(mktemp)
trap 'rm -f "$tmp"' EXIT

latin1() { iconv -f UTF-8 -t ISO-8859-1 "$tmp" > "$1"; }

# The field rules, one record or more per case.
printf '%s\n' 'a, b ,c' '"x,y",z' '"say ""hi"""' 'a,,b,' '' '"ab"  ,c' '"ab"cd",e' \
  'a"b" c 	," q "' ' "" , ' > "$tmp"
printf 'caf\303\251,na\303\257ve\r\n\302\240padded\302\240 ,"quoted\r\nacross lines"\r\n' >> "$tmp"
latin1 fields.csv

# A table with a header line, CR LF line ends and quoted fields that span lines.
{
  printf 'Name,Id,Note,Email\r\n'
  for i in 1 2 3 4 5 6 7 8; do
    printf '"M\303\274ller, Anna",%d,"two\r\nlines with ""quotes""",anna%d@example.org\r\n' "$i" "$i"
    printf 'Bob,%d0, plain note ,\r\n' "$i"
  done
} > "$tmp"
latin1 table.csv

# Every line end: CR alone, CR LF, LF, FF, NEL; a CR inside quotes; a blank line.
printf 'a,b\rc\r\nd\ne\fg\302\205h\r"i\rj",k\r\rl,m' > "$tmp"
latin1 breaks.csv

# Ends inside a quoted field.
printf 'id,text\n1,"open field, never closed\nsecond line, ' > "$tmp"
latin1 open_quote.csv
