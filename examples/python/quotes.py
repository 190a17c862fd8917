#!/usr/bin/env python3
"""Prints the spread of each quote of a symbol, read from lxquote as one JSON object per line.

    quotes.py 600519.SH --data data --date 20230201 --speed max --limit 100

The arguments go to "lxquote watch"; LXQUOTE of the environment names the program.
"""
import json
import os
import subprocess
import sys

command = [os.environ.get("LXQUOTE", "lxquote"), "watch", "--format", "ndjson", *sys.argv[1:]]
with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as lxquote:
    for line in lxquote.stdout:
        quote = json.loads(line)
        # A figure that the quote does not have is null.
        bid, ask = quote["BuyPrice"][0], quote["SellPrice"][0]
        if bid and ask:
            print(quote["MDTime"], quote["Symbol"], f"{ask - bid:.2f}", flush=True)
sys.exit(lxquote.returncode)
