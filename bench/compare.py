#!/usr/bin/env python3
"""vornc beside glslangValidator, whole processes, in one run.

For each example: a cold `vornc compile X.ovl --target GL` against `glslangValidator -d` reading
the .vert and .frag that vornc wrote. For generated programs of N helper functions: `vornc check`
against glslangValidator on the GL output of the same program, as lines per second (each tool
counts the lines it reads), their ratio, and peak memory per source line.

Times are CPU time (user + system) of the child process, so that other load on the machine
counts less than it would in wall time; runs are paired (vornc, then glslang) and the medians
are compared. Each child is started with posix_spawn (no fork of this interpreter, whose
copy-on-write work before the exec would be counted as the tool's) and reaped with wait4, whose
CPU time is the tool's alone: the figures match `perf stat -r 30 -e task-clock` on the same
command to within its noise. Peak memory is the maximum resident set of one more run under
/usr/bin/time (a process spawned from here would count this interpreter's pages as its peak).

    bench/compare.py [--vornc build/vornc] [--sizes 100,1000,10000] [--runs 11] [--keep DIR]
    bench/compare.py --no-examples --sizes "" --chains 1000,4000,16000   # time against size
"""

import argparse
import os
import shutil
import statistics
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def helper_program(count):
    """count helper functions, each calling the one before, and a shader calling the last."""
    parts = ["// %d helper functions and a surface shader that calls the last.\n" % count]
    for i in range(count):
        tail = "helper_%d(s * 0.5, w)" % (i - 1) if i else "s * 0.5"
        parts.append(
            "Scalar helper_%d(Scalar x, Vector3 v)\n{\n"
            "    Scalar s = x * %d.5 + dot(v, v);\n"
            "    Vector3 w = normalize(v) * s;\n"
            "    if (s > 1.0)\n    {\n        s = s - 1.0;\n    }\n"
            "    else\n    {\n        s = s + w.x;\n    }\n"
            "    return %s;\n}\n\n" % (i, i, tail))
    parts.append(
        "shader Many\n{\ninput:\n    Color base = Color(1.0, 1.0, 1.0, 1.0);\noutput:\n"
        "    Color result;\n\n    void main()\n    {\n"
        "        result = base * helper_%d(0.5, normal);\n    }\n};\n" % (count - 1))
    return "".join(parts)


def shader_chain(count):
    """count shaders, each inheriting from the next; the last one stands alone."""
    parts = []
    for i in range(count - 1, -1, -1):
        parent = " : Link_%d" % (i + 1) if i + 1 < count else ""
        parts.append(
            "shader Link_%d%s\n{\ninput:\n    Scalar gain_%d = 1.0;\noutput:\n"
            "    Color result_%d;\n\n    void main()\n    {\n"
            "        result_%d = Color(gain_%d, 0.0, 0.0, 1.0);\n    }\n};\n\n" % (i, parent, i, i, i, i))
    return "".join(parts)


def chain_reading_root(count):
    """As shader_chain, each shader also reading the input of the last one (the root)."""
    return shader_chain(count).replace(", 0.0, 0.0, 1.0);", ", gain_%d, 0.0, 1.0);" % (count - 1))


def wide_family(count):
    """One shader and count children of it, each reading an input it inherits."""
    parts = ["shader Root\n{\ninput:\n    Scalar gain = 1.0;\noutput:\n    Color result;\n\n"
             "    void main()\n    {\n        result = Color(gain, 0.0, 0.0, 1.0);\n    }\n};\n\n"]
    for i in range(count):
        parts.append(
            "shader Leaf_%d : Root\n{\ninput:\n    Scalar gain_%d = 1.0;\n\n    void main()\n    {\n"
            "        result = Color(gain_%d, gain, 0.0, 1.0);\n    }\n};\n\n" % (i, i, i))
    return "".join(parts)


def long_parameter_list(count):
    """A function of count parameters and one call of it."""
    parameters = ",\n".join("    Scalar p%d" % i for i in range(count))
    arguments = ",\n".join("        %d.0" % i for i in range(count))
    return ("Scalar many(\n%s)\n{\n    return p0 + p%d;\n}\n\nshader Many\n{\noutput:\n    Color result;\n\n"
            "    void main()\n    {\n        result = Color(many(\n%s));\n    }\n};\n" % (parameters, count - 1, arguments))


def import_chain(directory, count):
    """count files, each importing the one before, all imported in order by a first file.

    Imports nest at most 64 levels, so the chain is read from its start: each file's own
    import is then one already read, and every file is reached once.
    """
    for i in range(1, count + 1):
        text = "#import <chain_%d.ovl>\n" % (i - 1) if i > 1 else ""
        text += "Scalar link_%d(Scalar x)\n{\n    return x * 0.5;\n}\n" % i
        with open(os.path.join(directory, "chain_%d.ovl" % i), "w") as f:
            f.write(text)
    with open(os.path.join(directory, "chain_0.ovl"), "w") as f:
        f.write("".join("#import <chain_%d.ovl>\n" % i for i in range(1, count + 1)))
    return os.path.join(directory, "chain_0.ovl")


GRAPH_HEAD = ('<root xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" '
              'xsi:noNamespaceSchemaLocation="schemas/vorn_file_io.xsd">\n'
              '  <ovrel_code intrinsic_nodes="true"/>\n')


def deep_graph(directory, count):
    """A graph file of count nodes in a line, each adding a value to the one before."""
    parts = [GRAPH_HEAD]
    for i in range(count):
        parts.append('  <node name="n%d" class="Math_Color_Add">\n' % i)
        if i:
            parts.append('    <input name="left">\n'
                         '      <attachment target_name="result" target_node="n%d"/>\n'
                         '    </input>\n' % (i - 1))
        parts.append('    <input name="right" value="0.001 0.002 0.003 0"/>\n  </node>\n')
    parts.append("</root>\n")
    path = os.path.join(directory, "deep_%d.xovl" % count)
    with open(path, "w") as f:
        f.write("".join(parts))
    return path, "n%d" % (count - 1)


def wide_graph(directory, count):
    """A graph file of count leaf nodes, each feeding one input of a shader of count inputs."""
    source = ["shader Gather\n{\ninput:\n"]
    source += ["    Color c%d = Color(0.0, 0.0, 0.0, 1.0);\n" % i for i in range(count)]
    # One statement per input: a single sum of count terms would nest count levels deep.
    source.append("output:\n    Color result;\n\n    void main()\n    {\n        result = c0;\n")
    source += ["        result = result + c%d;\n" % i for i in range(1, count)]
    source.append("    }\n};\n")
    with open(os.path.join(directory, "gather_%d.ovl" % count), "w") as f:
        f.write("".join(source))
    parts = [GRAPH_HEAD, '  <ovrel_code file_name="gather_%d.ovl"/>\n' % count]
    for i in range(count):
        parts.append('  <node name="leaf%d" class="Math_Color_Multiply">\n'
                     '    <input name="left" value="0.5 0.5 0.5 1"/>\n'
                     '    <input name="right" value="%d 0 0 1"/>\n  </node>\n' % (i, i))
    parts.append('  <node name="gather" class="Gather">\n')
    for i in range(count):
        parts.append('    <input name="c%d">\n'
                     '      <attachment target_name="result" target_node="leaf%d"/>\n'
                     '    </input>\n' % (i, i))
    parts.append("  </node>\n</root>\n")
    path = os.path.join(directory, "wide_%d.xovl" % count)
    with open(path, "w") as f:
        f.write("".join(parts))
    return path, "gather"


def measure(command, cwd):
    """CPU seconds of one whole process, and of nothing else.

    The child is made by posix_spawn, which does not copy this interpreter's pages the way a
    fork does (a forked child pays for that copy-on-write work before its exec, and the cost
    would land in the tool's figures). posix_spawn has no portable change of directory, so the
    parent changes its own around the call; the output goes to /dev/null by file actions.
    """
    path = shutil.which(command[0])
    if path is None:
        raise SystemExit("not found: %s" % command[0])
    quiet = [(os.POSIX_SPAWN_OPEN, 1, os.devnull, os.O_WRONLY, 0),
             (os.POSIX_SPAWN_OPEN, 2, os.devnull, os.O_WRONLY, 0)]
    here = os.getcwd()
    os.chdir(cwd)
    try:
        pid = os.posix_spawn(path, command, os.environ, file_actions=quiet)
    finally:
        os.chdir(here)
    _, status, usage = os.wait4(pid, 0)
    if os.waitstatus_to_exitcode(status) != 0:
        raise SystemExit("failed: %s (in %s)" % (" ".join(command), cwd))
    return usage.ru_utime + usage.ru_stime


def peak_memory(command, cwd):
    """Peak resident kilobytes of one whole process.

    Not from the spawned child's own rusage: the kernel carries the peak of the address space
    a process leaves at exec into its figure, and a spawned child leaves this interpreter's.
    /usr/bin/time starts the tool from its own small process instead.
    """
    with tempfile.NamedTemporaryFile("r", suffix=".txt") as report:
        subprocess.run(["/usr/bin/time", "-f", "%M", "-o", report.name] + command, cwd=cwd, check=True,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        return int(report.read().split()[-1])


def paired(first, second, cwd, runs):
    """Medians of CPU time for two commands run turn about, and the peak memory of each."""
    a_times, b_times = [], []
    for _ in range(runs):
        a_times.append(measure(first, cwd))
        b_times.append(measure(second, cwd))
    return (statistics.median(a_times), statistics.median(b_times),
            peak_memory(first, cwd), peak_memory(second, cwd))


def line_count(*paths):
    total = 0
    for path in paths:
        with open(path, "rb") as f:
            total += f.read().count(b"\n")
    return total


def gl_outputs(vornc, source, work):
    base = os.path.splitext(os.path.basename(source))[0]
    subprocess.run([vornc, "compile", source, "--target", "GL", "-o", work], check=True,
                   stdout=subprocess.DEVNULL)
    return os.path.join(work, base + ".vert"), os.path.join(work, base + ".frag")


def compare_examples(args, work):
    print("Cold compile of each example to GL (CPU ms, median of %d paired runs)" % args.runs)
    print("%-16s %10s %10s %8s" % ("example", "vornc", "glslang", "ratio"))
    examples = os.path.join(ROOT, "examples")
    for name in sorted(os.listdir(examples)):
        if not name.endswith(".ovl"):
            continue
        source = os.path.join(examples, name)
        vert, frag = gl_outputs(args.vornc, source, work)
        v, g, _, _ = paired([args.vornc, "compile", source, "--target", "GL", "-o", work],
                            [args.glslang, "-d", vert, frag], work, args.runs)
        print("%-16s %10.2f %10.2f %8.3f" % (name, v * 1e3, g * 1e3, v / g))
    print()


def compare_sizes(args, work):
    print("Front end on N helper functions: vornc check against glslangValidator -d on its GL output")
    print("%7s %8s %8s %12s %12s %7s %9s %9s %8s" % (
        "N", "lines", "GL lines", "vornc l/s", "glslang l/s", "ratio", "vornc MB", "glsl MB", "KB/line"))
    for count in args.sizes:
        source = os.path.join(work, "helpers_%d.ovl" % count)
        with open(source, "w") as f:
            f.write(helper_program(count))
        vert, frag = gl_outputs(args.vornc, source, work)
        lines = line_count(source)
        gl_lines = line_count(vert, frag)
        runs = max(1, args.runs if count <= 1000 else args.runs // 3)
        v, g, vm, gm = paired([args.vornc, "check", source], [args.glslang, "-d", vert, frag], work, runs)
        v_rate = lines / v
        g_rate = gl_lines / g
        print("%7d %8d %8d %12.0f %12.0f %7.2f %9.1f %9.1f %8.3f" % (
            count, lines, gl_lines, v_rate, g_rate, v_rate / g_rate, vm / 1024, gm / 1024, vm / lines))
    print()


def scale_table(args, work):
    print("Time against size (vornc check; graphs: vornc compile --node --target GL; CPU ms, median of %d runs)"
          % args.runs)
    print("%-20s %7s %10s %9s %12s" % ("shape", "size", "ms", "peak MB", "us per item"))

    def row(shape, count, command, cwd):
        t = statistics.median(measure(command, cwd) for _ in range(args.runs))
        m = peak_memory(command, cwd)
        print("%-20s %7d %10.1f %9.1f %12.1f" % (shape, count, t * 1e3, m / 1024, t * 1e6 / count))

    shapes = [("shader chain", shader_chain), ("chain reading root", chain_reading_root),
              ("wide family", wide_family), ("parameter list", long_parameter_list)]
    for shape, make in shapes:
        for count in args.chains:
            source = os.path.join(work, "%s_%d.ovl" % (shape.replace(" ", "_"), count))
            with open(source, "w") as f:
                f.write(make(count))
            row(shape, count, [args.vornc, "check", source], work)
    for count in args.chains:
        directory = os.path.join(work, "imports_%d" % count)
        os.makedirs(directory, exist_ok=True)
        first = import_chain(directory, count)
        row("import chain", count, [args.vornc, "check", first], directory)
    # Graphs: read the file, link the graph that ends in the node, generate GL.
    for shape, make in [("deep graph", deep_graph), ("wide graph", wide_graph)]:
        for count in args.chains:
            path, node = make(work, count)
            row(shape, count, [args.vornc, "compile", path, "--node", node, "--target", "GL",
                               "-o", os.path.join(work, "graph_out")], work)
    print()


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--vornc", default=os.path.join(ROOT, "build", "vornc"))
    parser.add_argument("--glslang", default="glslangValidator")
    parser.add_argument("--sizes", default="100,1000,10000")
    parser.add_argument("--runs", type=int, default=11)
    parser.add_argument("--chains", default="", help="sizes for the time-against-size table")
    parser.add_argument("--no-examples", action="store_true")
    parser.add_argument("--keep", help="write the generated files here and keep them")
    args = parser.parse_args()
    args.vornc = os.path.abspath(args.vornc)
    args.sizes = [int(x) for x in args.sizes.split(",") if x]
    args.chains = [int(x) for x in args.chains.split(",") if x]
    if not os.access(args.vornc, os.X_OK):
        sys.exit("no vornc at %s: build first (scripts/test.sh)" % args.vornc)
    if not os.access("/usr/bin/time", os.X_OK):
        sys.exit("no /usr/bin/time: apt-get install time")
    if not shutil.which(args.glslang):
        sys.exit("no %s: apt-get install glslang-tools" % args.glslang)

    work = args.keep or tempfile.mkdtemp(prefix="vorn-compare-")
    os.makedirs(work, exist_ok=True)
    try:
        if not args.no_examples:
            compare_examples(args, work)
        if args.sizes:
            compare_sizes(args, work)
        if args.chains:
            scale_table(args, work)
    finally:
        if not args.keep:
            shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    main()
