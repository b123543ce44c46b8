#!/usr/bin/env bash
# vornc's table of option keys and values stays in step with what the generators read: every key
# a generator reads is in the table with the right kind of value, and the table has no other.
set -uo pipefail
build=$1
source=$2
"$build/vornc" options FX GL Cg >/dev/null || { echo "FAILED: vornc options FX GL Cg"; exit 1; }
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

# Cg: the FX keys less those its options view removes or fixes, and the keys it reads itself.
cg_source = open(source + "/src/gen_cg/cg_code_generator.cpp").read()
cg_header = open(source + "/src/gen_cg/cg_code_generator.h").read()
dropped = re.search(r"fx_only_options\[\] = \{([^}]*)\}", cg_source)
fixed = re.findall(r'view\.attributes\["([a-z0-9_]+)"\] =', cg_source)
expect(dropped is not None and len(fixed) == 2, "the Cg options view was not found")
cg_keys = dict(fx_keys)
for key in re.findall(r'"([a-z0-9_]+)"', dropped.group(1) if dropped else "") + fixed:
    cg_keys.pop(key, None)
cg_keys.update(read_keys(cg_source))
for key, constant in re.findall(r'attribute_equals\("([a-z0-9_]+)", ([A-Z0-9_]+)\)', cg_source):
    value = re.search(constant + r' = "([A-Za-z0-9_]+)"', cg_header)
    expect(value is not None, "the value of " + constant + " was not found")
    cg_keys.setdefault(key, set()).add(value.group(1) if value else "")
plugin = open(source + "/src/gen_cg/cg_code_generator_plugin.cpp").read()
expect("options.complete_program" in plugin, "the Cg plug-in no longer reads complete_program")
cg_keys["complete_program"] = {"0", "1", "true", "false"}
expect(len(cg_keys) == len(fx_keys) - 10 + 2, "Cg: %d keys against %d of FX" % (len(cg_keys), len(fx_keys)))

for target, keys in (("FX", fx_keys), ("GL", gl_keys), ("Cg", cg_keys)):
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
fail=$?

# The Cg table at work: unknown keys and values are warnings, errors under -Werror.
check() { if ! eval "$2"; then echo "FAILED: $1"; fail=1; fi; }
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
printf 'shader S { input: Color c = Color(1, 0, 0, 1); output: Color result;\nvoid main() { result = c; } };\n' > "$tmp/s.ovl"
err=$("$build/vornc" compile "$tmp/s.ovl" --target Cg -o "$tmp/o1" --option bogus=1 --option target_product=hald4 \
      --option format=HLSL --option complete_program=0 --option depth_test=true 2>&1); status=$?
check "Cg: unknown keys and values are three warnings" "[ $status -eq 0 ] && [ \$(grep -c '^Warning in vornc: ' <<<\"\$err\") -eq 3 ]"
check "Cg: the key it does not read" "grep -q \"the Cg target reads no option 'bogus'\" <<<\"\$err\""
check "Cg: an FX dialect key is unknown to Cg" "grep -q \"the Cg target reads no option 'format'\" <<<\"\$err\""
check "Cg: the values of target_product" "grep -q \"option 'target_product' takes hald3, not 'hald4'\" <<<\"\$err\""
check "Cg: the program is written" "[ -s \"$tmp/o1\" ]"
err=$("$build/vornc" -Werror compile "$tmp/s.ovl" --target Cg -o "$tmp/o2" --option complete_program=yes 2>&1); status=$?
check "Cg: -Werror refuses a bad value" "[ $status -eq 1 ] && grep -q \"^Error in vornc: option 'complete_program' takes 1, 0, true or false, not 'yes'\" <<<\"\$err\" && [ ! -e \"$tmp/o2\" ]"
err=$("$build/vornc" compile "$tmp/s.ovl" --target FX -o "$tmp/o3" --option target_product=hald3 2>&1)
check "FX: Cg's own key is unknown to FX" "grep -q \"the FX target reads no option 'target_product'\" <<<\"\$err\""
exit $fail
