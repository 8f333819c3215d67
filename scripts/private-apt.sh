# Sourced: apt for Debian's main suite with folders of its own, so that source packages and
# packages of another architecture are had without root and without touching the machine's setup.
# apt checks the archive's signatures as always.

# private_apt_init DIR TYPE ARCHITECTURE: makes DIR with an index of the suite's packages of TYPE
# (deb or deb-src). Only the main suite is asked: the security archive's index can name versions
# that are gone. Returns 1 when the archive cannot be reached.
private_apt_init() {
  local suite uri
  private_apt_dir=$1 private_apt_arch=$3
  suite=$(. /etc/os-release && echo "$VERSION_CODENAME")
  mkdir -p "$1/lists/partial" "$1/archives/partial"
  : >"$1/status"

  # Where the machine's own list of sources, whichever its format, has the suite from.
  uri=$(main_suite_uri "$suite")
  if [ -z "$uri" ]; then  # apt tells only once it has an index
    apt-get -qq -o APT::Sandbox::User=root -o Dir::State::lists="$1/lists" update || return 1
    uri=$(main_suite_uri "$suite" -o Dir::State::lists="$1/lists")
  fi
  if [ -z "$uri" ]; then
    echo "apt's sources do not have the main suite of Debian's $suite" >&2
    return 1
  fi
  cat >"$1/main.sources" <<END
Types: $2
URIs: $uri
Suites: $suite
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
END
  private_apt -o APT::Update::Error-Mode=any update
}

# main_suite_uri SUITE APT-OPTION...
main_suite_uri() {
  local suite=$1
  shift
  # shellcheck disable=SC2016
  apt-get "$@" indextargets --format '$(LABEL) $(CODENAME) $(COMPONENT) $(REPO_URI)' \
    'Created-By: Packages' |
    awk -v suite="$suite" \
      '$1 == "Debian" && $2 == suite && $3 == "main" { uri = $4 } END { print uri }'
}

private_apt() {
  apt-get -qq -o APT::Architecture="$private_apt_arch" -o APT::Architectures="$private_apt_arch" \
    -o APT::Sandbox::User=root -o Acquire::Languages=none -o Acquire::Retries=3 \
    -o Dir::Etc::sourcelist="$private_apt_dir/main.sources" -o Dir::Etc::sourceparts=/dev/null \
    -o Dir::State::lists="$private_apt_dir/lists" -o Dir::State::status="$private_apt_dir/status" \
    -o Dir::Cache="$private_apt_dir" -o Dir::Cache::archives="$private_apt_dir/archives" "$@"
}
