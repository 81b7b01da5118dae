#!/usr/bin/env bash
# Fails when a tracked C++ file differs from what clang-format makes of it
# with the repository's .clang-format; `./dev format` rewrites them.
# Usage: check_format.sh [--fix]   (exit 77: clang-format or git is missing)
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
command -v clang-format >/dev/null || { echo "clang-format is not installed" >&2; exit 77; }
git rev-parse --is-inside-work-tree >/dev/null 2>&1 || { echo "not a git checkout" >&2; exit 77; }
# New files count too: a file is formatted before its first commit.
mapfile -t files < <(git ls-files --cached --others --exclude-standard -- '*.h' '*.cpp' '*.mm')
if [[ ${1:-} == --fix ]]; then
  clang-format -i "${files[@]}"
  exit 0
fi
if ! clang-format --dry-run --Werror "${files[@]}"; then
  echo "these files need ./dev format" >&2
  exit 1
fi
echo "${#files[@]} files formatted"
