#!/bin/bash
# documentation.sh FOLDER SOURCE: every page is installed as it is in the tree, and its links lead to what is installed,
# unless they lead to headers or to how the project is changed.
set -euo pipefail

folder=$1 source=$2

fail() {
  printf 'documentation: %s\n' "$*" >&2
  exit 1
}

pages=0 links=0
for page in README.md CHANGELOG.md $(cd "$source" && echo docs/*.md); do
  cmp "$source/$page" "$folder/$page" || fail "another $page"
  pages=$((pages + 1))
  while read -r link; do
    case $link in
      *:* | '#'* | *include/* | CONTRIBUTING.md) continue ;;
    esac
    [[ -e $folder/$(dirname "$page")/${link%%#*} ]] || fail "$page links to $link"
    links=$((links + 1))
  done < <(grep -o '](\([^)]*\))' "$source/$page" | sed 's/^](//; s/)$//')
done
((pages >= 11 && links >= 30)) || fail "only $pages pages with $links links"
