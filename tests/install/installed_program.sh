#!/bin/bash
# installed_program.sh PREFIX: the program runs from a moved prefix, and brings a man page for itself and each verb, and
# its completion.
set -euo pipefail

prefix=$1
program=$prefix/bin/trox

fail() {
  printf 'installed_program: %s\n' "$*" >&2
  exit 1
}

[[ $("$program" --version) == trox\ * ]] || fail 'no version'
mapfile -t verbs < <("$program" help | sed -n '/^Verbs:/,/^$/s/^  \([a-z][a-z]*\) .*/\1/p')
((${#verbs[@]} >= 8)) || fail "only the verbs ${verbs[*]}"
pages=$prefix/share/man/man1
cmp "$pages/trox.1" <("$program" man) || fail 'another page of the program'
for verb in "${verbs[@]}"; do
  cmp "$pages/trox-$verb.1" <("$program" man "$verb") || fail "another page of $verb"
done
[[ $(find "$pages" -name 'trox*.1' | wc -l) == $((${#verbs[@]} + 1)) ]] || fail 'pages of verbs that there are not'
cmp "$prefix/share/bash-completion/completions/trox" <("$program" completion bash) || fail 'another completion'
