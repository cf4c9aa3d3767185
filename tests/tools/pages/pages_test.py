#!/usr/bin/env python3
"""The manual pages and completions, beside what the programs' own --help says.

usage: pages_test.py FOLDER PTC PCBAKE PCRENDER PCFARM MAKE_PAGES
(FOLDER: what make_pages wrote)
Run it from the repository root.
"""

import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

MADE = pathlib.Path(sys.argv[1])
PTC, PCBAKE, PCRENDER, PCFARM, MAKE_PAGES = sys.argv[2:]
DOC = pathlib.Path("docs/tools.md")


def output_of(*arguments: str) -> str:
    done = subprocess.run(arguments, capture_output=True, text=True, check=False)
    assert done.returncode == 0, f"{arguments}: {done.returncode}: {done.stdout}{done.stderr}"
    return done.stdout


def helps() -> dict[str, str]:
    """The help of each program and each command, by the name of its page."""
    texts = {"pcbake": output_of(PCBAKE, "--help"), "pcrender": output_of(PCRENDER, "--help")}
    for name, program in (("ptc", PTC), ("pcfarm", PCFARM)):
        texts[name] = output_of(program, "--help")
        commands = re.findall(r"^  (\w+) ", texts[name].split("Subcommands:")[1], re.M)
        assert len(commands) > 2, texts[name]
        texts |= {f"{name}-{word}": output_of(program, word, "--help") for word in commands}
    return texts


def options_in(text: str) -> set[str]:
    names = re.findall(r"^  (-[-\w,]+)", text, re.M)
    assert names, text
    return {name for group in names for name in group.split(",")}


HELPS = helps()

# What bash offers behind a line; "FILES" where it leaves the word to its own completion of files.
BASH_CASES = {
    "ptc ": {name[4:] for name in HELPS if name.startswith("ptc-")},
    "ptc vi": {"view"},
    "ptc view --": {name for name in options_in(HELPS["ptc-view"]) if name.startswith("--")},
    "ptc view --ca": {"--camera"},
    "ptc view --camera ": {"file", "fit"},
    "ptc view --camera = fi": {"file", "fit"},
    "ptc view --camera =": {"file", "fit"},
    "ptc view --background ": {"black", "grey", "white"},
    "ptc view -o ": {"FILES"},
    "ptc view --output so": {"FILES"},
    "ptc view ": {"FILES"},
    "ptc view cloud.ptc --size ": set(),
    "ptc query a.ptc --at -": set(),
    "ptc query --at-points ": {"FILES"},
    "ptc convert a b --to pl": {"ply", "ply-ascii"},
    "ptc stats --walk random,f": {"random,filtered-coherent", "random,filtered-random"},
    "ptc help mer": {"merge"},
    "pcbake --no-b": {"--no-bounce"},
    "pcbake --driver ": {"FILES"},
    "pcbake --rays ": set(),
    "pcrender --light o": {"occlusion"},
    "pcrender --compare ": {"FILES"},
    "pcrender --cloud ": {"FILES"},
    "pcfarm re": {"resume", "FILES"},
    "pcfarm --local 2 spot.json --sl": {"--slurm"},
    "pcfarm status spot.json --w": {"--wait"},
}


class Pages(unittest.TestCase):
    def test_every_option_stands_in_the_page_of_its_command(self) -> None:
        self.assertEqual({path.stem for path in (MADE / "man1").glob("*.1")}, set(HELPS))
        for page, text in HELPS.items():
            roff = (MADE / "man1" / f"{page}.1").read_text()
            tags = " ".join(re.findall(r"^\.TP\n(.*)", roff, re.M)).replace("\\", "")
            for option in options_in(text):
                self.assertIn(f"fB{option}fR", tags, page)

    def test_every_option_stands_in_every_completion(self) -> None:
        for page, text in HELPS.items():
            program, _, command = page.partition("-")
            bash = (MADE / "bash" / program).read_text()
            offered = re.search(rf"'{command}'\)\n *options='(.*)'", bash)
            self.assertEqual(set(offered[1].split()), options_in(text), page)

            zsh = (MADE / "zsh" / f"_{program}").read_text()
            part = zsh.split(f"        {command})\n")[1].split(";;")[0] if command else zsh
            fish = (MADE / "fish" / f"{program}.fish").read_text()
            mark = f"command_is '{command}'\"" if program in ("ptc", "pcfarm") else "complete"
            lines = [line + " " for line in fish.splitlines() if mark in line]
            for option in options_in(text):
                self.assertRegex(part, rf"\){option}[=+]?\[", f"zsh: {page}")
                switch = option.replace("--", "-l ") if "--" in option else f"-s {option[1]}"
                self.assertTrue(any(f" {switch} " in line for line in lines), f"{page} {option}")

    def test_bash_offers(self) -> None:
        for line, expected in BASH_CASES.items():
            words = line.split()
            program = words[0]
            if line.endswith(" "):
                words.append("")
            script = (
                f"source '{MADE}/bash/{program}'\n"
                'compopt() { [[ "$*" != "-o default" ]] || echo FILES; }\n'
                f"COMP_WORDS=({' '.join(repr(word) for word in words)})\n"
                f"COMP_CWORD={len(words) - 1}\nIFS=,\n_{program}\nIFS=\n"
                'printf "%s\\n" "${COMPREPLY[@]}"'
            )
            self.assertEqual(set(output_of("bash", "-c", script).split()), expected, line)

    def test_shells_can_read_the_scripts(self) -> None:
        for shell in filter(shutil.which, ("bash", "zsh", "fish")):
            for script in (MADE / shell).iterdir():
                output_of(shell, "-n", str(script))

    @unittest.skipUnless(shutil.which("fish"), "no fish")
    def test_fish_offers(self) -> None:
        for line, word in {"ptc vi": "view", "ptc view --camera f": "fit", "ptc help mer": "merge",
                           "ptc print check --no": "--nodes", "pcbake --no-b": "--no-bounce",
                           "pcfarm spot.json --sl": "--slurm"}.items():
            program = line.split()[0]
            command = f"source '{MADE}/fish/{program}.fish'; complete -C '{line}'"
            self.assertIn(word, output_of("fish", "--no-config", "-c", command).split(), line)

    @unittest.skipUnless(shutil.which("mandoc"), "no mandoc")
    def test_pages_are_sound(self) -> None:
        for page in (MADE / "man1").glob("*.1"):
            found = subprocess.run(["mandoc", "-T", "lint", "-W", "warning", str(page)],
                                   capture_output=True, text=True, check=False).stdout
            # A page without a date is the same whenever it is made.
            faults = [line for line in found.splitlines() if 'missing date, using ""' not in line]
            self.assertEqual(faults, [])

    def test_a_doc_that_tells_of_other_options_makes_no_pages(self) -> None:
        doc = DOC.read_text()
        for right, wrong, complaint in (
            ("$ ptc view room.ptc -o", "$ ptc view room.ptc -x", "ptc view has no option -x"),
            ("--drop-repeats\n", "--json\n", "ptc organize has no option --json"),
            ("- `--leaf`", "- `--leaves`", "no command has an option --leaves"),
            ("$ ptc check", "$ ptc chekc", "no command in the example"),
            ("## ptc merge", "## ptc marge", "no section is about ptc merge"),
        ):
            self.assertIn(right, doc)
            with tempfile.TemporaryDirectory() as folder:
                changed = pathlib.Path(folder, "tools.md")
                changed.write_text(doc.replace(right, wrong, 1))
                run = subprocess.run([MAKE_PAGES, str(changed), folder],
                                     capture_output=True, text=True, check=False)
            self.assertEqual(run.returncode, 1, wrong)
            self.assertIn(complaint, run.stderr)

    def test_the_same_input_gives_the_same_bytes(self) -> None:
        with tempfile.TemporaryDirectory() as folder:
            output_of(MAKE_PAGES, str(DOC), folder)
            output_of("diff", "-r", "--exclude=man1gz", folder, str(MADE))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
