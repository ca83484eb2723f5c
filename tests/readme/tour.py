# SPDX-License-Identifier: Apache-2.0
"""tour.py GUIDE PROGRAM OUTPUT: writes the program that runs the blocks of code of a guide in their order, and what it
prints by the blocks of text behind them. A block with an include stands before all functions."""
import re
import sys

guide, program, output = sys.argv[1:]
blocks = re.findall(r"^```(cpp|text)\n(.*?)^```$", open(guide, encoding="utf-8").read(), re.M | re.S)
code = [text for language, text in blocks if language == "cpp"]
steps = [text for text in code if "#include" not in text]
with open(program, "w", encoding="utf-8") as file:
    file.write("".join(text for text in code if "#include" in text))
    for number, text in enumerate(steps):
        file.write(f"\nstatic void step{number}() {{\n{text}}}\n")
    file.write("\nint main() {\n" + "".join(f"step{number}();\n" for number in range(len(steps))) + "}\n")
with open(output, "w", encoding="utf-8") as file:
    file.write("".join(text for language, text in blocks if language == "text"))
