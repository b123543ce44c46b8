#!/usr/bin/env bash
# vornc preview: the PNG files it writes are read by Python's zlib (every chunk's CRC, the
# stream's Adler sum), the CPU and Mesa pictures of one shader are the same, the checker's
# squares have the colours its source gives them, and every way to fail ends with a reason.
set -uo pipefail
build=$1
source=$2
vornc="$build/vornc"
fail=0
check() { if ! eval "$2"; then echo "FAILED: $1"; fail=1; fi; }
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# Squares a quarter of the picture wide, in colours whose channels are whole numbers of 255ths
# (0.2 is 51, 0.4 is 102, 0.6 is 153, 0.8 is 204).
cat > "$tmp/squares.ovl" <<'EOF'
shader Squares {
input:
    Color dark = Color(0.2, 0.4, 0.6, 1.0);
    Color light = Color(1.0, 0.8, 0.0, 1.0);
    Scalar repeat = 4.0;
output:
    Color result;
    void main() {
        Vector2 cell = floor(texture_coordinate[0].xy * repeat);
        result = fmod(cell.x + cell.y, 2.0) < 0.5 ? dark : light;
    }
};
EOF
out=$("$vornc" preview "$tmp/squares.ovl" --target Swrc -o "$tmp/cpu.png" 2>&1); status=$?
check "the CPU preview exits 0 and prints the file written ($out)" "[ $status -eq 0 ] && [ \"\$out\" = \"$tmp/cpu.png\" ]"
out=$("$vornc" preview "$tmp/squares.ovl" --target GL -o "$tmp/gl.png" 2>&1); status=$?
check "the GL preview exits 0 ($out)" "[ $status -eq 0 ]"

python3 - "$tmp/cpu.png" "$tmp/gl.png" <<'PY' || fail=1
import struct, sys, zlib

def read_png(path):
    data = open(path, "rb").read()
    assert data[:8] == b"\x89PNG\r\n\x1a\n", "no PNG signature"
    at, chunks = 8, []
    while at < len(data):
        length, = struct.unpack(">I", data[at:at + 4])
        kind, body = data[at + 4:at + 8], data[at + 8:at + 8 + length]
        crc, = struct.unpack(">I", data[at + 8 + length:at + 12 + length])
        assert zlib.crc32(kind + body) & 0xffffffff == crc, "bad CRC of " + kind.decode()
        chunks.append((kind, body))
        at += 12 + length
    assert [k for k, _ in chunks][0] == b"IHDR" and chunks[-1][0] == b"IEND"
    width, height, depth, colour, _, _, interlace = struct.unpack(">IIBBBBB", chunks[0][1])
    assert (depth, colour, interlace) == (8, 6, 0), "not 8-bit RGBA"
    raw = zlib.decompress(b"".join(b for k, b in chunks if k == b"IDAT"))
    assert len(raw) == height * (1 + 4 * width)
    rows = []
    for y in range(height):
        line = raw[y * (1 + 4 * width):(y + 1) * (1 + 4 * width)]
        assert line[0] == 0, "a row with a filter"
        rows.append(line[1:])
    return width, height, rows

failed = False
cpu, gl = read_png(sys.argv[1]), read_png(sys.argv[2])
if cpu[:2] != (256, 256) or gl[:2] != (256, 256):
    print("FAILED: the pictures are not 256 by 256"); failed = True
worst = max(abs(a - b) for ra, rb in zip(cpu[2], gl[2]) for a, b in zip(ra, rb))
if worst > 2:
    print("FAILED: the CPU and Mesa pictures differ by up to %d" % worst); failed = True
# Rows are top first: the bottom-left cell (0, 0) is dark, its right and upper neighbours light.
dark, light = (51, 102, 153, 255), (255, 204, 0, 255)
def pixel(x, y_from_bottom):
    row = cpu[2][255 - y_from_bottom]
    return tuple(row[4 * x:4 * x + 4])
for (x, y), want in (((10, 10), dark), ((74, 10), light), ((10, 74), light), ((74, 74), dark), ((250, 250), dark)):
    if pixel(x, y) != want:
        print("FAILED: pixel (%d, %d) is %s, the source gives %s" % (x, y, pixel(x, y), want)); failed = True
sys.exit(1 if failed else 0)
PY

# The sphere (radius 0.9 of the half-width, centred) on both targets. Its s runs with the
# longitude, 0.5 + phi / 2pi, and t with the latitude, 0.5 + theta / pi: at longitude 30 degrees
# and latitude 20 (x = 0.9 cos 20 sin 30 = 0.423, y = 0.9 sin 20 = 0.308, pixel (182, 167)) the
# cell is (2, 2), dark; at latitude -20 (pixel (182, 88)) it is (2, 1), light.
out=$("$vornc" preview "$tmp/squares.ovl" --target Swrc --shape sphere -o "$tmp/cpu_sphere.png" 2>&1); status=$?
check "the CPU preview of the sphere exits 0 ($out)" "[ $status -eq 0 ]"
out=$("$vornc" preview "$tmp/squares.ovl" --target GL --shape sphere -o "$tmp/gl_sphere.png" 2>&1); status=$?
check "the GL preview of the sphere exits 0 ($out)" "[ $status -eq 0 ]"
python3 - "$tmp/cpu_sphere.png" "$tmp/gl_sphere.png" <<'PY' || fail=1
import struct, sys, zlib

def read_png(path):
    data = open(path, "rb").read()
    at, idat = 8, b""
    while at < len(data):
        length, = struct.unpack(">I", data[at:at + 4])
        if data[at + 4:at + 8] == b"IDAT":
            idat += data[at + 8:at + 8 + length]
        at += 12 + length
    raw = zlib.decompress(idat)
    # Rows from the bottom, as GL counts them.
    return [[tuple(raw[y * 1025 + 1 + 4 * x:y * 1025 + 5 + 4 * x]) for x in range(256)] for y in range(255, -1, -1)]

failed = False
cpu, gl = read_png(sys.argv[1]), read_png(sys.argv[2])
def covered(picture, x, y):
    return 0 <= x < 256 and 0 <= y < 256 and picture[y][x][3] != 0
def edge(x, y):
    return any(not covered(p, x + dx, y + dy) for p in (cpu, gl) for dx in (-1, 0, 1) for dy in (-1, 0, 1))
inside = worst = 0
for y in range(256):
    for x in range(256):
        if covered(cpu, x, y) != covered(gl, x, y) and not edge(x, y):
            print("FAILED: coverage differs inside the sphere at (%d, %d)" % (x, y)); failed = True
        if not edge(x, y):
            inside += 1
            worst = max(worst, max(abs(a - b) for a, b in zip(cpu[y][x], gl[y][x])))
# pi 115.2^2 pixels are covered, about 41700, less a ring on the silhouette.
if not 39000 < inside < 41700:
    print("FAILED: %d pixels inside the sphere's silhouette" % inside); failed = True
if worst > 2:
    print("FAILED: the CPU and Mesa pictures of the sphere differ by up to %d" % worst); failed = True
dark, light = (51, 102, 153, 255), (255, 204, 0, 255)
for (x, y), want in (((182, 167), dark), ((182, 88), light), ((0, 0), (0, 0, 0, 0)), ((255, 255), (0, 0, 0, 0))):
    for name, picture in (("CPU", cpu), ("Mesa", gl)):
        if picture[y][x] != want:
            print("FAILED: %s sphere pixel (%d, %d) is %s, not %s" % (name, x, y, picture[y][x], want)); failed = True
sys.exit(1 if failed else 0)
PY
"$vornc" preview "$tmp/squares.ovl" --target GL --shape cube -o "$tmp/x.png" 2>/dev/null
check "an unknown shape is a misuse" "[ $? -eq 2 ]"

err=$("$vornc" preview "$tmp/squares.ovl" --target Swrc --option cplusplus_compiler="$tmp/no-such-compiler" -o "$tmp/x.png" 2>&1); status=$?
check "a missing C++ compiler exits 1 and says so ($err)" "[ $status -eq 1 ] && grep -q 'was not found' <<<\"\$err\" && [ ! -e \"$tmp/x.png\" ]"
printf '#!/bin/sh\necho "broken compiler" >&2\nexit 1\n' > "$tmp/bad-cxx"
chmod +x "$tmp/bad-cxx"
err=$("$vornc" preview "$tmp/squares.ovl" --target Swrc --option cplusplus_compiler="$tmp/bad-cxx" -o "$tmp/x.png" 2>&1); status=$?
check "a failing C++ compiler exits 1 with its messages" "[ $status -eq 1 ] && grep -q 'broken compiler' <<<\"\$err\""
printf 'shader S { input: String label = "x"; output: Color result; void main() { result = Color(1, 1, 1, 1); } };\n' > "$tmp/text.ovl"
err=$("$vornc" preview "$tmp/text.ovl" --target Swrc -o "$tmp/x.png" 2>&1); status=$?
check "a string input is refused with its name" "[ $status -eq 1 ] && grep -q \"input 'label'\" <<<\"\$err\""
printf 'shader S { output: Color result; String name; void main() { result = Color(1, 1, 1, 1); name = "n"; } };\n' > "$tmp/named.ovl"
err=$("$vornc" preview "$tmp/named.ovl" --target Swrc -o "$tmp/x.png" 2>&1); status=$?
check "a string output is refused, not written into raw bytes ($err)" "[ $status -eq 1 ] && grep -q \"output 'name'\" <<<\"\$err\""
printf 'shader S { output: Scalar s; void main() { s = 1.0; } };\n' > "$tmp/scalar.ovl"
err=$("$vornc" preview "$tmp/scalar.ovl" --target GL -o "$tmp/x.png" 2>&1); status=$?
check "a shader without a colour output is refused" "[ $status -eq 1 ] && grep -q 'no colour output' <<<\"\$err\""
"$vornc" preview "$tmp/squares.ovl" --target FX -o "$tmp/x.png" 2>/dev/null
check "another target is a misuse" "[ $? -eq 2 ]"
"$vornc" preview "$tmp/squares.ovl" --target Swrc 2>/dev/null
check "no -o is a misuse" "[ $? -eq 2 ]"
err=$("$vornc" preview "$tmp/squares.ovl" --target GL -o "$tmp/no/such/dir/x.png" 2>&1); status=$?
check "an unwritable output exits 1" "[ $status -eq 1 ] && grep -q 'cannot write' <<<\"\$err\""
exit $fail
