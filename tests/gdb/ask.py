"""Run by gdb: carries out the commands of the transcript that the variable TRANSCRIPT names."""

import os

import gdb

PROMPT = "(gdb) "

with open(os.environ["TRANSCRIPT"], encoding="utf-8") as transcript:
    commands = [line.strip()[len(PROMPT) :] for line in transcript if line.startswith(PROMPT)]
for command in commands:
    print(PROMPT + command)
    try:
        gdb.execute(command)
    except gdb.error as error:  # does not keep the others from being run
        print(error)
