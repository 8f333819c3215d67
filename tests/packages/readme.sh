# What the tests of the packages take from the README. To be sourced in the project's folder.

die() { echo "${0##*/}: $*" >&2; exit 1; }

# readme_block KIND: its first code block of a kind.
readme_block() {
  awk -v kind="^\`\`\`$1\$" '$0 ~ kind { on = ++count == 1; next } /^```/ { on = 0 } on' README.md
}

# The commands of the first session. The server, which would not end, is stopped after some seconds.
readme_session() {
  local session
  session=$(readme_block console | sed -n 's/^\$ //p' | sed 's/^tessaron serve$/timeout -s INT 3 & || true/')
  [ "$(wc -l <<<"$session")" -ge 10 ] || die "the README has no session"
  echo "$session"
}

# check_session OUTPUT-FILE: what the session must have told, whatever the day and the system.
check_session() {
  local told
  told=$(readme_block console | grep -E '^(read |2 items|item-[a-z0-9]+( returned)?$|shelf.html: )') ||
    die "the README's session tells nothing"
  while read -r line; do
    grep -qxF -- "$line" "$1" || { cat "$1"; die "not as the README tells: $line"; }
  done <<<"$told"
}
