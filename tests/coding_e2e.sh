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
# An empty text is still a stream that gzip reads.
expect_in 0 '^H4sIAAAAAAAAAAMAAAAAAAAAAAA=$' "$work/empty" zip
check "gzip reads what zip makes of nothing" bash -c "'$tool' zip </dev/null | base64 -d | gzip -t"
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

# Bad input: one line naming what is wrong, exit status 1. unzip streams, so the
# data before a fault have reached stdout when the fault is found, as with gzip;
# the message is on stderr alone.
unzip_err() {  # unzip_err PATTERN INPUT ARGS...: status 1, PATTERN on stderr
  local pattern=$1 input=$2
  shift 2
  "$tool" unzip "$@" <"$input" >/dev/null 2>"$work/unzip.err"
  local code=$?
  if [[ $code -eq 1 ]] && grep -qE -- "$pattern" "$work/unzip.err"; then
    passes=$((passes + 1))
  else
    echo "FAIL: unzip $* < $(basename "$input") -> status $code, stderr: $(head -c 300 "$work/unzip.err")"
    failures=$((failures + 1))
  fi
}
"$tool" zip <"$work/random" | base64 -d >"$work/random.gz"
size=$(stat -c %s "$work/random.gz")
cp "$work/random.gz" "$work/crc.gz"
printf '\x00\x00\x00\x00' | dd of="$work/crc.gz" bs=1 seek=$((size - 8)) conv=notrunc 2>/dev/null
base64 -w0 <"$work/crc.gz" >"$work/crc.z"
unzip_err "^cuadrante unzip: stdin is no Base64 form of a gzip stream: gzip member 1 at byte $((size - 8)): the data's CRC-32 is [0-9A-F]{8} but the trailer says 00000000$" \
  "$work/crc.z"
head -c $((size / 2)) "$work/random.gz" | base64 -w0 >"$work/cut.z"
unzip_err "gzip member 1 at byte $((size / 2)): the stream ends inside the deflate data$" "$work/cut.z"
expect_in 1 'gzip member 1 at byte 0: not in gzip format \(no 1F 8B at its start\)$' "$work/abc" unzip
head -c 20000000 /dev/zero | gzip -6 | base64 -w0 >"$work/bomb.z"
unzip_err 'the data inflate beyond the limit of 1000000 bytes$' "$work/bomb.z" --limit 1000000
check "unzip gives no byte beyond its limit" test "$("$tool" unzip --limit 1000000 <"$work/bomb.z" 2>/dev/null | wc -c)" -le 1000000
if [[ $("$tool" unzip --limit 20000000 <"$work/bomb.z" | wc -c) -ne 20000000 ]]; then
  echo "FAIL: unzip --limit 20000000 of 20000000 zero bytes"; failures=$((failures + 1))
fi

# Concatenated members and every header field, as GNU gzip reads them.
gzip -6 -c "$work/text" "$work/mixed" "$work/abc" | base64 >"$work/three.z"
cat "$work/text" "$work/mixed" "$work/abc" >"$work/three"
"$tool" unzip <"$work/three.z" >"$work/three.back"
same "unzip reads all three members of gzip -c a b c" "$work/three" "$work/three.back"
# A member with FEXTRA, FNAME, FCOMMENT and FHCRC, made with Python's zlib, and
# the same with its header CRC or a reserved flag wrong: gzip -t is the judge.
python3 - "$work" <<'PY'
import struct, sys, zlib
def member(data, flags, header_crc=None):
    h = bytes([0x1F, 0x8B, 8, flags, 0, 0, 0, 0, 0, 3])
    h += struct.pack('<H', 4) + b'AB\0\0' + b'turno.txt\0' + b'nota\0'
    crc = zlib.crc32(h) & 0xFFFF
    h += struct.pack('<H', crc if header_crc is None else header_crc)
    packer = zlib.compressobj(6, zlib.DEFLATED, -15)
    body = packer.compress(data) + packer.flush()
    return h + body + struct.pack('<II', zlib.crc32(data), len(data))
for name, flags, crc in (('fields', 0x1E, None), ('hcrc', 0x1E, 0x1234), ('reserved', 0x3E, None)):
    open(sys.argv[1] + '/' + name + '.gz', 'wb').write(member(b'Guardia\n', flags, crc))
PY
for f in fields hcrc reserved; do base64 <"$work/$f.gz" >"$work/$f.z"; done
if gzip -t "$work/fields.gz" && ! gzip -t "$work/hcrc.gz" 2>/dev/null && ! gzip -t "$work/reserved.gz" 2>/dev/null; then
  passes=$((passes + 1))
else
  echo "FAIL: gzip -t does not judge the hand-made members as expected"; failures=$((failures + 1))
fi
expect_in 0 '^Guardia$' "$work/fields.z" unzip
expect_in 1 "header CRC-16 is 1234 but the header's is [0-9A-F]{4}$" "$work/hcrc.z" unzip
expect_in 1 'reserved flag bits are set \(FLG 3E\)$' "$work/reserved.z" unzip
{ cat "$work/fields.gz"; printf 'basura'; } | base64 >"$work/garbage.z"
expect_in 0 '6 bytes after the last gzip member are no data, ignored' "$work/garbage.z" unzip
{ cat "$work/fields.gz"; head -c 512 /dev/zero; } | base64 >"$work/padded.z"
"$tool" unzip <"$work/padded.z" >"$work/padded" 2>"$work/padded.err"
if [[ $(cat "$work/padded") == Guardia && ! -s "$work/padded.err" ]]; then
  passes=$((passes + 1))
else
  echo "FAIL: zero padding after the last member is not passed over in silence"; failures=$((failures + 1))
fi

# zip and unzip stream: 300 MB pass through either in a few megabytes. (Not
# measured under AddressSanitizer, whose shadow and quarantine are memory too.)
head -c 300000000 /dev/zero | "$tool" zip >"$work/big.z"
check "300 MB of zeros zip to one line" test "$(wc -l <"$work/big.z")" -eq 1
peak() { /usr/bin/time -f %M "$@" 2>&1 >/dev/null | tail -n 1; }
if [[ -x /usr/bin/time ]] && ! ldd "$tool" | grep -q asan; then
  zip_kb=$(peak bash -c "head -c 300000000 /dev/zero | '$tool' zip")
  unzip_kb=$(peak bash -c "'$tool' unzip --limit 400000000 <'$work/big.z'")
  check "zip of 300 MB peaks at $zip_kb KiB, under 32 MiB" test "$zip_kb" -lt 32768
  check "unzip of 300 MB peaks at $unzip_kb KiB, under 32 MiB" test "$unzip_kb" -lt 32768
fi
check "unzip gives the 300 MB back" test "$("$tool" unzip --limit 400000000 <"$work/big.z" | wc -c)" -eq 300000000
# base64 -d of text without one Base64 character says so.
printf '!!! ---\n' >"$work/nobase64"
expect_in 1 'stdin holds no Base64 character$' "$work/nobase64" base64 -d

# Misuse: exit status 2.
expect_in 2 "takes no argument but 'x'" "$work/abc" zip x
expect_in 2 "takes no argument but '-x'" "$work/abc" base64 -x
expect_in 2 "--limit takes a whole number from 0 to [0-9]+, not 'lots'" "$work/abc" unzip --limit lots
expect_in 0 'usage: cuadrante unzip' "$work/empty" unzip --help
expect_in 0 'example' "$work/empty" help zip

finish
