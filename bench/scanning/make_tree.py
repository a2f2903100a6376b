#!/usr/bin/env python3
"""Builds the walker's benchmark tree: files in folders of uneven depth and fan-out, with
symbolic links to files and folders and hard links. Files are sparse: they have logical sizes
without taking disk space. The same seed gives the same tree."""
import os
import random
import sys


def main():
    if len(sys.argv) < 2:
        sys.exit("usage: make_tree.py <root> [files] [folders]")
    root = sys.argv[1]
    files = int(sys.argv[2]) if len(sys.argv) > 2 else 200_000
    folders = int(sys.argv[3]) if len(sys.argv) > 3 else 20_000
    rng = random.Random(13)
    os.makedirs(root)
    dirs = [root]
    for i in range(1, folders):
        # Leaning towards recent folders makes deep chains next to shallow bushes.
        parent = dirs[int(len(dirs) * rng.random() ** 0.4)]
        path = os.path.join(parent, f"d{i}")
        os.mkdir(path)
        dirs.append(path)
    for i in range(files):
        # Leaning towards early folders gives a few very wide folders and many small ones.
        where = dirs[int(len(dirs) * rng.random() ** 3)]
        path = os.path.join(where, f"f{i}.dat")
        with open(path, "wb") as handle:
            handle.truncate(min(int(rng.expovariate(1 / 8000)), 10_000_000))
        if i % 200 == 0:
            os.symlink(path, os.path.join(dirs[rng.randrange(len(dirs))], f"l{i}"))
        if i % 400 == 0:
            os.symlink(dirs[rng.randrange(len(dirs))], os.path.join(where, f"s{i}"))
        if i % 250 == 0:
            os.link(path, os.path.join(dirs[rng.randrange(len(dirs))], f"h{i}.dat"))


if __name__ == "__main__":
    main()
