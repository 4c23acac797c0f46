"""What came of the changes: a file for each source file, and a table."""

from collections import Counter
import json

import equivalent

SANITIZERS = "killed by sanitizers"
NOTICED = ("killed", SANITIZERS, "timed out")
OUTCOMES = (*NOTICED, "survived", "equivalent", "same object", "same as another", "did not build")
HEADINGS = ("file", "mutants", "killed", SANITIZERS, "timed out", "survived", "equivalent, listed",
            "equivalent, same object", "same as another", "did not build", "survivors in 100")


def result_file(folder, name):
    return folder / (name.replace("/", "-") + ".json")


def read_results(folder, name):
    """By the mutants' keys."""
    path = result_file(folder, name)
    results = json.loads(path.read_text(encoding="utf-8")) if path.exists() else []
    return {(name, result["function"], result["text"], result["change"]): result for result in results}


def as_result(mutant, outcome, test, seconds):
    return {
        "line": mutant.line_number, "function": mutant.function, "kind": mutant.kind, "text": mutant.line,
        "change": mutant.change, "outcome": outcome, "test": test, "seconds": round(seconds, 2),
    }


def write_results(folder, name, results):
    result_file(folder, name).write_text(json.dumps(results, indent=1, ensure_ascii=False) + "\n", encoding="utf-8")


def survivors_in_100(counts):
    tried = counts["survived"] + sum(counts[outcome] for outcome in NOTICED)
    return 100 * counts["survived"] / tried if tried else 0.0


def row(name, counts):
    numbers = [sum(counts.values()), *(counts[outcome] for outcome in OUTCOMES)]
    return f"| {name} | " + " | ".join(f"{number:,}" for number in numbers) + f" | {survivors_in_100(counts):.1f} |"


def table(counts_of):
    lines = ["| " + " | ".join(HEADINGS) + " |", "|" + "---|" * len(HEADINGS)]
    lines += [row(f"`{name}`", counts) for name, counts in counts_of.items()]
    return "\n".join(lines + [row("all", sum(counts_of.values(), Counter()))])


def survivors(name, results):
    """Each as it would stand in the list of equivalent ones."""
    return [
        f"{name}:{result['line']}\n" + equivalent.show((name, result["function"], result["text"], result["change"]))
        for result in results if result["outcome"] == "survived"
    ]
