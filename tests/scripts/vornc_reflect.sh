#!/usr/bin/env bash
# vornc reflect on every example, against the GL and FX text that vornc generates for it: each
# input and parameter the text declares appears in the JSON, and nothing the text does not.
set -uo pipefail
build=$1
source=$2
vornc="$build/vornc"
fail=0
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

for example in "$source"/examples/*.ovl; do
  name=$(basename "$example" .ovl)
  for target in GL FX; do
    if ! "$vornc" reflect "$example" --target "$target" > "$tmp/$name.$target.json"; then
      echo "FAILED: reflect $name for $target"; fail=1; continue
    fi
    "$vornc" compile "$example" --target "$target" -o "$tmp/$target/" >/dev/null || { echo "FAILED: compile $name"; fail=1; }
    # The declarations are read here by a parser of their own, not vornc's.
    python3 - "$tmp/$name.$target.json" "$target" "$example" "$tmp/$target/$name".* <<'PY' || fail=1
import json, re, sys
reflection, target, source = json.load(open(sys.argv[1])), sys.argv[2], sys.argv[3]
texts = [open(path).read() for path in sys.argv[4:]]
declared = set()
for text in texts:
    if target == "GL":
        declared |= set(re.findall(r"^uniform \w+ (\w+)(?:\[\d+\])?;$", text, re.M))
    else:
        # File-level parameters: strip annotation blocks, then read what stands at brace depth 0.
        text = re.sub(r"^<\n.*?^>", "", text, flags=re.M | re.S)
        depth, top = 0, []
        for line in text.split("\n"):
            if depth == 0:
                top.append(line)
            depth += line.count("{") - line.count("}")
        for line in top:
            m = re.match(r"^(\w+) (\w+)\s*(?:\[\d*\])?\s*(?::[^=;(]*)?(?:=.*|;)?$", line)
            if m and m.group(1) not in ("struct", "technique", "return"):
                declared.add(m.group(2))
listed = set(reflection["uniforms"])
inputs = [i for s in reflection["shaders"] for i in s["inputs"]]
for i in inputs:
    if i["target_name"] is not None:
        listed.add(i["target_name"])
name = "%s %s" % (source.rsplit("/", 1)[-1], target)
ok = True
if declared - listed:
    print("FAILED: %s: declared but not in the JSON: %s" % (name, sorted(declared - listed))); ok = False
if listed - declared:
    print("FAILED: %s: in the JSON but not declared: %s" % (name, sorted(listed - declared))); ok = False
# Every input of the shader that was generated is found in the text under its name there.
first = reflection["shaders"][0]
missing = [i["name"] for i in first["inputs"] if i["target_name"] is None]
if missing:
    print("FAILED: %s: inputs with no name in the text: %s" % (name, missing)); ok = False
if target == "GL" and not {"flip_normal", "object_to_camera"} <= set(reflection["uniforms"]):
    print("FAILED: %s: the GL uniforms beyond the inputs are missing" % name); ok = False
# The source's own words: each input's type and default as written.
src = open(source).read()
for i in first["inputs"]:
    if not re.search(r"\b%s\s+%s\b" % (re.escape(i["type"].split("[")[0]), re.escape(i["name"])), src):
        print("FAILED: %s: input %s is not a %s in the source" % (name, i["name"], i["type"])); ok = False
sys.exit(0 if ok else 1)
PY
  done
done

# The schema is the same for every target; the state a shader reads is named.
python3 - "$tmp" <<'PY' || fail=1
import json, sys, glob
for path in glob.glob(sys.argv[1] + "/*.json"):
    r = json.load(open(path))
    assert set(r) == {"target", "shaders", "state_variables", "state_functions", "uses_lights", "lights", "uniforms"}, path
    for s in r["shaders"]:
        assert set(s) == {"name", "kind", "parent", "inputs", "outputs", "textures"}, path
        for i in s["inputs"]:
            assert set(i) == {"name", "type", "target_name", "default", "annotations"}, path
checker = json.load(open(sys.argv[1] + "/checker.GL.json"))
assert "texture_coordinate" in checker["state_variables"], checker["state_variables"]
repeat = [i for i in checker["shaders"][0]["inputs"] if i["name"] == "repeat"][0]
assert repeat == {"name": "repeat", "type": "Scalar", "target_name": "ovl_repeat", "default": "8.0",
                  "annotations": ["ui_range(1.0, 64.0)"]}, repeat
PY
[ $? -eq 0 ] || { echo "FAILED: schema"; fail=1; }
exit $fail
