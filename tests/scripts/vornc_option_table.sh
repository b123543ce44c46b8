#!/usr/bin/env bash
# vornc's table of option keys and values stays in step with what the generators read: every key
# a generator reads is in the table with the right kind of value, and the table has no other.
set -uo pipefail
build=$1
source=$2
"$build/vornc" options FX GL >/dev/null || { echo "FAILED: vornc options FX GL"; exit 1; }
python3 - "$build/vornc" "$source" <<'PY'
import re, subprocess, sys
vornc, source = sys.argv[1], sys.argv[2]
common = {"shader_type", "shader_name", "primary_output"}

def table(target):
    out = subprocess.run([vornc, "options", target], capture_output=True, text=True, check=True).stdout
    rows = {}
    for line in out.splitlines():
        name, key, values = line.split(" ", 2)
        assert name == target, line
        rows[key] = values
    return rows

def read_keys(text):
    """Keys and the kind of value each reader takes, from the reading calls in a generator's source."""
    keys = {}
    for key in re.findall(r'\b(?:flag|flag_unless_false|flag_or)\(options, "([a-z0-9_]+)"', text):
        keys[key] = "true|false"
    for key in re.findall(r'attribute_equals\("([a-z0-9_]+)", "true"\)', text):
        keys[key] = "true|false"
    for key in re.findall(r'\bread_text\(options, "([a-z0-9_]+)"', text):
        keys[key] = "TEXT"
    for key in re.findall(r'get_attribute\("([a-z0-9_]+)"\)', text):
        keys[key] = "TEXT"
    for key, value in re.findall(r'attribute_equals\("([a-z0-9_]+)", "([A-Za-z]+)"\)', text):
        if value != "true":
            keys.setdefault(key, set()).add(value)
    # Keys kept in arrays, read by a loop.
    for name, kind in (("texcoord_binding_keys", "TEXT"), ("texture_transform_keys", "left|right|none")):
        block = re.search(name + r"\[[A-Z_]+\] = \{([^}]*)\}", text)
        if block:
            for key in re.findall(r'"([a-z0-9_]+)"', block.group(1)):
                keys[key] = kind
    return keys

failed = False
def expect(condition, message):
    global failed
    if not condition:
        print("FAILED: " + message)
        failed = True

fx_source = open(source + "/src/gen_fx/fx_options.cpp").read()
fx_source = fx_source[fx_source.index("Fx_options read_fx_options"):]
gl_source = open(source + "/src/gen_gl/gl_code_generator.cpp").read()
gl_source = gl_source[gl_source.index("Gl_options read_gl_options"):]
gl_source = gl_source[:gl_source.index("\n}\n")]
arrays = open(source + "/src/gen_fx/fx_options.cpp").read()
fx_keys = read_keys(fx_source + arrays[:arrays.index("Fx_options read_fx_options")])
gl_keys = read_keys(gl_source)
expect(len(fx_keys) > 30 and len(gl_keys) == 4, "the readers were not found: %d FX, %d GL" % (len(fx_keys), len(gl_keys)))

for target, keys in (("FX", fx_keys), ("GL", gl_keys)):
    rows = table(target)
    expect(common <= set(rows), target + ": the common keys are missing")
    for key, kind in keys.items():
        expect(key in rows, "%s reads %s, which the table lacks" % (target, key))
        if key not in rows:
            continue
        if isinstance(kind, set):
            listed = set(rows[key].split("|"))
            expect(kind <= listed, "%s %s: the table lacks the values %s" % (target, key, kind - listed))
        else:
            expect(rows[key] == kind, "%s %s: the table says %s, the generator reads %s" % (target, key, rows[key], kind))
    for key in set(rows) - set(keys) - common:
        expect(False, "%s: the table has %s, which the generator does not read" % (target, key))
sys.exit(1 if failed else 0)
PY
