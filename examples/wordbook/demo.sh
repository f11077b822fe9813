#!/usr/bin/env bash
# demo.sh WORDBOOK [FILE...]: shows the wordbook at work, in a temporary store, on the given texts or on the licences that come
# with every Debian system.
set -euo pipefail

if [ $# -lt 1 ] || ! [ -x "$1" ]; then
  echo "usage: demo.sh WORDBOOK [FILE...], where WORDBOOK is the program that was built" >&2
  exit 2
fi
wordbook=$(realpath "$1")
shift
if [ $# -eq 0 ]; then set -- /usr/share/common-licenses/*; fi

texts=()
for file in "$@"; do
  text=$(realpath "$file")
  if ! [ -f "$text" ]; then
    echo "demo.sh: there is no text '$file'; name some of your own: make demo FILES=\"a.txt b.txt\"" >&2
    exit 2
  fi
  # Some licences are links from a name to its newest version: each text once.
  [[ " ${texts[*]-} " == *" $text "* ]] || texts+=("$text")
done

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

bold='' plain=''
if [ -t 1 ]; then bold=$'\033[1m' plain=$'\033[0m'; fi

# Runs a command of the wordbook after showing it. A word that is not there is no error here.
show() {
  local status=0
  echo
  echo "$bold\$ wordbook $1$plain"
  shift
  "$wordbook" "$@" || status=$?
  if [ "$status" -eq 1 ]; then
    echo "(exit status 1: not all were found)"
  elif [ "$status" -ne 0 ]; then
    exit "$status"
  fi
}

shown=${texts[0]}
if [ ${#texts[@]} -gt 1 ]; then shown+=" (and $((${#texts[@]} - 1)) more)"; fi

echo "Each command below is a process of its own, on the same store."
show "index words.ps $shown" index words.ps "${texts[@]}"
show "find words.ps waive irrevocable xyzzy" find words.ps waive irrevocable xyzzy
show "top words.ps 5" top words.ps 5
show "list words.ps free" list words.ps free
show "files words.ps" files words.ps
show "stat words.ps" stat words.ps
