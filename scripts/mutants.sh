#!/usr/bin/env bash
# Mutation sampler: how many small faults in the library would the tests catch?
#
#   scripts/mutants.sh [N] [--seed S]      (N = 60, S = 1 by default)
#
# Samples N mutants from the library's sources (core variant bus gateway appframework
# cache util): relational, logical and arithmetic operators swapped, integer constants
# changed by one, conditions negated, early returns forced, single statements deleted.
# The same seed over the same sources gives the same sample. Each mutant is built in
# the incremental debug tree build/mutants; the tests of the mutated folder run first,
# then the others, stopping at the first failure (LUMO_MUTANTS_TIMEOUT seconds per
# test, default 60, so a mutant that loops is killed). The tests are run once unmutated
# first; tests failing there are left out and named. Reports killed, survived and
# did-not-compile, and lists each survivor with file:line and the change.
# The mutated file is restored whatever happens (a run stopped hard restores it at the
# next start). A developer's tool, not a CI step; run it under `nice` on a shared machine.
set -euo pipefail
cd "$(dirname "$0")/.."
exec python3 - "$@" <<'PY'
import os, random, re, signal, subprocess, sys

FOLDERS = ["core", "variant", "bus", "gateway", "appframework", "cache", "util"]
# The ctest names of each folder's own tests (test executables are named after it).
FOLDER_TESTS = {"core": r"^test_core\.", "variant": r"^test_variant\.", "util": r"^test_(validate|uci)\.",
                "bus": r"^test_bus_", "appframework": r"^test_app_", "gateway": r"^test_gw_",
                "cache": r"^test_cache\."}
BUILD = "build/mutants"
PENDING = os.path.join(BUILD, "mutant-pending")     # path of the mutated file, then its original text
LOG = os.path.join(BUILD, "mutant-last.log")
TIMEOUT = os.environ.get("LUMO_MUTANTS_TIMEOUT", "60")


def usage(msg):
    sys.exit(f"mutants.sh: {msg}\nusage: scripts/mutants.sh [N] [--seed S]")


def parse(argv):
    n, seed, i = 60, 1, 0
    while i < len(argv):
        a = argv[i]
        if a == "--seed" and i + 1 < len(argv):
            seed, i = argv[i + 1], i + 1
        elif a.startswith("--seed="):
            seed = a.split("=", 1)[1]
        elif a.isdigit() and int(a) > 0:
            n = int(a)
        else:
            usage(f"unexpected argument '{a}'")
        i += 1
    if not str(seed).lstrip("-").isdigit():
        usage("the seed is a whole number")
    return n, int(seed)


def blank_non_code(text):
    """The text with comments and the insides of string and character literals
    replaced by spaces (newlines kept), so that offsets match the original."""
    out, i, n = list(text), 0, len(text)

    def wipe(a, b):
        for k in range(a, min(b, n)):
            if out[k] != "\n":
                out[k] = " "
    while i < n:
        if text.startswith("//", i):
            j = text.find("\n", i)
            j = n if j < 0 else j
            wipe(i, j)
            i = j
        elif text.startswith("/*", i):
            j = text.find("*/", i + 2)
            j = n if j < 0 else j + 2
            wipe(i, j)
            i = j
        elif text.startswith('R"', i) and (i == 0 or not (text[i - 1].isalnum() or text[i - 1] == "_")):
            m = re.match(r'R"([^(\s]*)\(', text[i:])
            end = text.find(")" + m.group(1) + '"', i) if m else -1
            j = n if end < 0 else end + len(m.group(1)) + 2
            wipe(i + 2, j - 1)
            i = j
        elif text[i] in "\"'":
            q, j = text[i], i + 1
            while j < n and text[j] != q and text[j] != "\n":
                j += 2 if text[j] == "\\" else 1
            wipe(i + 1, j)
            i = j + 1
        else:
            i += 1
    return "".join(out)


SWAP = {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "&&": "||", "||": "&&",
        "+": "-", "-": "+", "*": "/", "/": "*", "+=": "-=", "-=": "+="}
OP_RE = re.compile(r"(?<=\s)(==|!=|<=|>=|<|>|&&|\|\||\+=|-=|\+|-|\*|/)(?=\s)")
INT_RE = re.compile(r"(?<![\w.'])(\d+)(?=[uUlL]*(?![\w.']))")
COND_RE = re.compile(r"\b(if|while)\s*\(")
STMT_RE = re.compile(r"(?!(?:return|delete|throw|case|goto|else|do|co_return|sizeof)\b)"
                     r"[A-Za-z_][\w:]*(?:(?:\.|->)[A-Za-z_]\w*|\[[^\]]*\])*\s*(?:\(|[-+*/|&]?=(?!=)|\+\+|--)")


def close_paren(code, start):
    depth = 0
    for k in range(start, len(code)):
        depth += {"(": 1, ")": -1}.get(code[k], 0)
        if depth == 0:
            return k
    return -1


def mutants_of(path):
    text = open(path, encoding="utf-8").read()
    lines, codes = text.split("\n"), blank_non_code(text).split("\n")
    found, in_macro, prev = [], False, ""
    for no, (line, code) in enumerate(zip(lines, codes), 1):
        stripped = code.strip()
        directive = in_macro or stripped.startswith("#")
        in_macro = directive and code.rstrip().endswith("\\")
        if directive or not stripped or "static_assert" in code:
            continue

        def add(a, b, new, what):
            found.append((path, no, line[:a] + new + line[b:], what))
        for m in OP_RE.finditer(code):
            add(m.start(), m.end(), SWAP[m.group(1)], f"'{m.group(1)}' -> '{SWAP[m.group(1)]}'")
        for m in INT_RE.finditer(code):
            v = int(m.group(1))
            w = 1 if v == 0 else 0 if v == 1 else v + 1
            add(m.start(), m.end(), str(w), f"constant {v} -> {w}")
        for m in COND_RE.finditer(code):
            o = m.end() - 1
            c = close_paren(code, o)
            cond = code[o + 1:c].strip() if c > 0 else ""
            if not cond or ";" in cond or re.match(r"(auto|const)\b", cond):
                continue
            add(o + 1, c, "!(" + line[o + 1:c] + ")", "condition negated")
            rest = code[c + 1:].strip()
            following = next((codes[k].strip() for k in range(no, len(codes)) if codes[k].strip()), "")
            if m.group(1) == "if" and (rest.startswith("return") or (rest in ("", "{") and following.startswith("return"))):
                add(o + 1, c, "true", "early return forced")
        if (stripped.endswith(";") and STMT_RE.match(stripped) and code.count("(") == code.count(")")
                and prev[-1:] in (";", "{", "}", ":", ")")):
            indent = line[:len(line) - len(line.lstrip())]
            found.append((path, no, indent + "{}", "statement deleted"))
        prev = stripped
    return text, found


def sources():
    return sorted(os.path.join(root, f) for d in FOLDERS for root, _, files in os.walk(d)
                  for f in files if f.endswith((".cpp", ".hpp")))


def run(cmd):
    with open(LOG, "a") as log:
        log.write("$ " + " ".join(cmd) + "\n")
        log.flush()
        return subprocess.run(cmd, stdin=subprocess.DEVNULL, stdout=log, stderr=subprocess.STDOUT).returncode


def ctest(*args):
    env_cmd = ["env", "G_DEBUG=fatal-warnings", "ctest", "--test-dir", BUILD, "--timeout", TIMEOUT, "-j2"]
    return run(env_cmd + list(args))


def failing_tests():
    """Names of the tests that failed in the last ctest run (from its log)."""
    path = os.path.join(BUILD, "Testing", "Temporary", "LastTestsFailed.log")
    if not os.path.exists(path):
        return []
    return [l.strip().split(":", 1)[1] for l in open(path) if ":" in l]


def restore_pending():
    if os.path.exists(PENDING):
        path, original = open(PENDING, encoding="utf-8").read().split("\n", 1)
        with open(path, "w", encoding="utf-8") as f:
            f.write(original)
        os.remove(PENDING)
        print(f"restored {path} from an interrupted run")


def main():
    n, seed = parse(sys.argv[1:])
    # A stop by signal unwinds like Ctrl-C so that the file is restored.
    for s in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(s, lambda *_: (_ for _ in ()).throw(KeyboardInterrupt()))
    os.makedirs(BUILD, exist_ok=True)
    restore_pending()
    open(LOG, "w").close()
    if not os.path.exists(os.path.join(BUILD, "build.ninja")) and run(["cmake", "--preset", "debug", "-B", BUILD]):
        sys.exit(f"configuring {BUILD} failed, see {LOG}")
    candidates, originals = [], {}
    for path in sources():
        originals[path], found = mutants_of(path)
        candidates += found
    sample = random.Random(seed).sample(candidates, min(n, len(candidates)))
    print(f"{len(candidates)} possible mutants, sampling {len(sample)} with seed {seed}")

    if run(["cmake", "--build", BUILD]):
        sys.exit(f"the unmutated sources do not build, see {LOG}")
    ctest()
    broken = failing_tests()
    if broken:
        print("left out, failing unmutated: " + " ".join(broken))
    skip = ["-E", "^(" + "|".join(re.escape(t) for t in broken) + ")$"] if broken else []

    results = []
    try:
        for i, (path, no, new_line, what) in enumerate(sample, 1):
            original = originals[path]
            lines = original.split("\n")
            lines[no - 1] = new_line
            with open(PENDING, "w", encoding="utf-8") as f:
                f.write(path + "\n" + original)
            try:
                with open(path, "w", encoding="utf-8") as f:
                    f.write("\n".join(lines))
                open(LOG, "w").close()
                mine = FOLDER_TESTS[path.split(os.sep)[0]]
                if run(["cmake", "--build", BUILD]):
                    verdict = "did-not-compile"
                elif ctest("-R", mine, "--stop-on-failure", *skip) or ctest("-E", mine, "--stop-on-failure", *skip):
                    verdict = "killed"
                else:
                    verdict = "survived"
            finally:
                with open(path, "w", encoding="utf-8") as f:
                    f.write(original)
                os.remove(PENDING)
            by = f" (by {failing_tests()[0]})" if verdict == "killed" and failing_tests() else ""
            print(f"[{i:3}/{len(sample)}] {verdict:15} {path}:{no}  {what}{by}", flush=True)
            results.append((verdict, path, no, what, new_line.strip()))
    except KeyboardInterrupt:
        print("interrupted; the source is restored, figures so far:")

    count = {v: sum(r[0] == v for r in results) for v in ("killed", "survived", "did-not-compile")}
    judged = count["killed"] + count["survived"]
    rate = f"{100.0 * count['killed'] / judged:.1f}%" if judged else "n/a"
    print(f"\nseed {seed}, {len(results)} of {len(sample)} mutants: killed {count['killed']}, "
          f"survived {count['survived']}, did not compile {count['did-not-compile']}; "
          f"kill rate {rate} of those that compiled")
    survivors = [r for r in results if r[0] == "survived"]
    if survivors:
        print("survivors:")
        for _, path, no, what, new in survivors:
            print(f"  {path}:{no}  {what}:  {new}")


main()
PY
