#!/usr/bin/env bash
# Runs the coding commands of the built host (zip, unzip, base64) on stdin and
# checks their output and exit status, also against the system's gzip and base64.
source "$(dirname "$0")/e2e.sh" "$@"

# same NAME FILE-A FILE-B: the two files hold the same bytes.
same() {
  if cmp -s "$2" "$3"; then
    passes=$((passes + 1))
  else
    echo "FAIL: $1: $(basename "$2") and $(basename "$3") differ"
    failures=$((failures + 1))
  fi
}

printf 'Turno de noche\n' >"$work/text"
printf 'abc' >"$work/abc"
printf 'YW Jj\r\n' >"$work/abc.b64"
: >"$work/empty"
head -c 300000 /dev/urandom >"$work/random"
{ head -c 100000 /dev/urandom; printf 'año %.0s' {1..20000}; } >"$work/mixed"

expect_in 0 '^YWJj$' "$work/abc" base64
expect_in 0 '^abc$' "$work/abc.b64" base64 -d
expect_in 0 '^$' "$work/empty" base64
expect_in 0 '^H4sIAAAAAAAAA[A-Za-z0-9+/]+=*$' "$work/text" zip
"$tool" zip <"$work/text" >"$work/text.z"
expect_in 0 '^Turno de noche$' "$work/text.z" unzip
expect_in 0 '^$' "$work/empty" zip
expect_in 0 '^$' "$work/empty" unzip

# Round trips of binary data, and our forms read by the system's tools and theirs by us.
for f in random mixed; do
  "$tool" base64 <"$work/$f" >"$work/$f.b64"
  base64 -w0 <"$work/$f" >"$work/$f.sys.b64"
  printf '\n' >>"$work/$f.sys.b64"
  same "base64 of $f equals the system's" "$work/$f.b64" "$work/$f.sys.b64"
  base64 <"$work/$f" | "$tool" base64 -d >"$work/$f.back"
  same "base64 -d of the system's wrapped $f" "$work/$f" "$work/$f.back"
  "$tool" zip <"$work/$f" >"$work/$f.z"
  if [[ $(wc -l <"$work/$f.z") -ne 1 ]]; then
    echo "FAIL: zip of $f is not one line"; failures=$((failures + 1))
  fi
  "$tool" unzip <"$work/$f.z" >"$work/$f.back"
  same "zip | unzip of $f" "$work/$f" "$work/$f.back"
  base64 -d <"$work/$f.z" | gzip -dc >"$work/$f.back"
  same "gzip -dc reads our zip of $f" "$work/$f" "$work/$f.back"
  gzip -6 -c <"$work/$f" | base64 | "$tool" unzip >"$work/$f.back"
  same "unzip reads gzip -6 of $f" "$work/$f" "$work/$f.back"
done

# Bad input: one line naming what is wrong, exit status 1.
"$tool" zip <"$work/random" | base64 -d >"$work/random.gz"
size=$(stat -c %s "$work/random.gz")
cp "$work/random.gz" "$work/crc.gz"
printf '\x00\x00\x00\x00' | dd of="$work/crc.gz" bs=1 seek=$((size - 8)) conv=notrunc 2>/dev/null
base64 -w0 <"$work/crc.gz" >"$work/crc.z"
expect_in 1 '^cuadrante unzip: stdin is no Base64 form of a gzip stream: Gunzip: CRC check error$' \
  "$work/crc.z" unzip
head -c $((size / 2)) "$work/random.gz" | base64 -w0 >"$work/cut.z"
expect_in 1 'Inflator: unexpected end of compressed block$' "$work/cut.z" unzip
expect_in 1 'Gunzip: header decoding error$' "$work/abc" unzip
head -c 20000000 /dev/zero | gzip -6 | base64 -w0 >"$work/bomb.z"
expect_in 1 'Inflator: output exceeds the limit of 1000000 bytes$' "$work/bomb.z" unzip --limit 1000000
if [[ $("$tool" unzip --limit 20000000 <"$work/bomb.z" | wc -c) -ne 20000000 ]]; then
  echo "FAIL: unzip --limit 20000000 of 20000000 zero bytes"; failures=$((failures + 1))
fi

# Misuse: exit status 2.
expect_in 2 "takes no argument but 'x'" "$work/abc" zip x
expect_in 2 "takes no argument but '-x'" "$work/abc" base64 -x
expect_in 2 "--limit takes a number of bytes, not 'lots'" "$work/abc" unzip --limit lots
expect_in 0 'usage: cuadrante unzip' "$work/empty" unzip --help
expect_in 0 'example' "$work/empty" help zip

finish
