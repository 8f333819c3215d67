# Sourced: apt for Debian's main suite with folders of its own, so that source packages and
# packages of another architecture are had without root and without touching the machine's setup.
# apt checks the archive's signatures as always.

# private_apt_init DIR TYPE ARCHITECTURE: makes DIR with an index of the suite's packages of TYPE
# (deb or deb-src). Only the main suite is asked: the security archive's index can name versions
# that are gone.
private_apt_init() {
  local uri
  private_apt_dir=$1 private_apt_arch=$3
  # The machine's own source for the suite, whichever format its list has.
  # shellcheck disable=SC2016
  uri=$(. /etc/os-release
        apt-get indextargets --format '$(LABEL) $(CODENAME) $(COMPONENT) $(REPO_URI)' \
          'Created-By: Packages' |
          awk -v suite="$VERSION_CODENAME" \
            '$1 == "Debian" && $2 == suite && $3 == "main" { uri = $4 } END { print uri }')
  if [ -z "$uri" ]; then
    echo "apt knows no main suite of Debian here; has 'apt-get update' been run?" >&2
    return 1
  fi
  mkdir -p "$1/lists/partial" "$1/archives/partial"
  : >"$1/status"
  cat >"$1/main.sources" <<END
Types: $2
URIs: $uri
Suites: $(. /etc/os-release; echo "$VERSION_CODENAME")
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
END
  private_apt -o APT::Update::Error-Mode=any update
}

private_apt() {
  apt-get -qq -o APT::Architecture="$private_apt_arch" -o APT::Architectures="$private_apt_arch" \
    -o APT::Sandbox::User=root -o Acquire::Languages=none -o Acquire::Retries=3 \
    -o Dir::Etc::sourcelist="$private_apt_dir/main.sources" -o Dir::Etc::sourceparts=/dev/null \
    -o Dir::State::lists="$private_apt_dir/lists" -o Dir::State::status="$private_apt_dir/status" \
    -o Dir::Cache="$private_apt_dir" -o Dir::Cache::archives="$private_apt_dir/archives" "$@"
}
