#!/usr/bin/env bash
# demo.sh GLOSSARY: shows the glossary at work, in a temporary store.
set -euo pipefail

if [ $# -ne 1 ] || ! [ -x "$1" ]; then
  echo "usage: demo.sh GLOSSARY, where GLOSSARY is the script that was built" >&2
  exit 2
fi
glossary=$(realpath "$1")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
export LC_ALL=C.UTF-8

bold='' plain=''
if [ -t 1 ]; then bold=$'\033[1m' plain=$'\033[0m'; fi

# Runs a command of the glossary after showing it. A name that is not there is no error here.
show() {
  local status=0 line=glossary word
  for word in "$@"; do
    if [[ $word == *' '* ]]; then line+=" '$word'"; else line+=" $word"; fi
  done
  echo
  echo "$bold\$ $line$plain"
  "$glossary" "$@" || status=$?
  [ "$status" -le 1 ] || exit "$status"
}

echo "Each command below is a Java program of its own, on the same store."
show terms.ps put 'extendible hashing' 'a hash table that grows by one bucket at a time'
show terms.ps put 'B-tree' 'a balanced tree whose nodes have many children'
show terms.ps put 'Ångström' 'a tenth of a nanometre'
show terms.ps abbreviate EH 'extendible hashing'
show terms.ps put 'B-tree' 'a balanced search tree whose nodes have many children'
show terms.ps list
show terms.ps find B-tree EH Ångström XYZZY
