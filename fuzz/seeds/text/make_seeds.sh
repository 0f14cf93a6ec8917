#!/bin/sh
# make_seeds.sh: writes the text-file seeds of fuzz_text into this folder,
# encoded by iconv from UTF-8 samples. Names say how fuzz_text reads them:
# <encoding>[-bom].txt; the byte-order mark is U+FEFF encoded with the rest.
set -eu
cd "$(dirname "$0")"
tmp=$(mktemp)
trap 'rm -f "$tmp" "$tmp.bom"' EXIT

# Every line break (CR LF, LF, CR, FF, NEL, U+2028, U+2029), a vertical tab,
# a NUL, characters of two and three bytes and beyond U+FFFF, and a U+FEFF
# inside a line; then enough lines to cross the readers' 1024-byte buffer.
{
  printf 'Plain line\r\nLF\nCR\rFF\014NEL\302\205LS\342\200\250PS\342\200\251VT\013kept\000NUL\r\n'
  printf 'caf\303\251 \316\225\316\273\316\273 \320\234\320\270\321\200 \344\270\255\346\226\207 \360\237\230\200 \360\235\204\236 a\357\273\277b\r\n'
  i=0
  while [ $i -lt 24 ]; do
    printf 'line %02d: na\303\257ve \342\202\254 \360\237\216\211 and some ASCII to fill the buffer\r\n' $i
    i=$((i + 1))
  done
  printf 'last line without a break'
} > "$tmp"
{ printf '\357\273\277'; cat "$tmp"; } > "$tmp.bom"
for mark in "" -bom; do
  src=$tmp
  [ -n "$mark" ] && src=$tmp.bom
  iconv -f UTF-8 -t UTF-8 "$src" > "utf8$mark.txt"
  iconv -f UTF-8 -t UTF-16LE "$src" > "utf16le$mark.txt"
  iconv -f UTF-8 -t UTF-16BE "$src" > "utf16be$mark.txt"
done

# Files without a mark in two ANSI code pages.
printf 'caf\303\251, na\303\257ve, \303\206r\303\270sk\303\270bing, \342\202\254 5\r\nStra\303\237e\n' | iconv -f UTF-8 -t CP1252 > cp1252.txt
printf '\346\227\245\346\234\254\350\252\236\343\201\256\343\203\206\343\202\255\343\202\271\343\203\210\r\n\357\275\266\357\276\200\357\275\266\357\276\205 ASCII\r\n' | iconv -f UTF-8 -t CP932 > cp932.txt
