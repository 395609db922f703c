# Sourced: where this machine's apt gets Debian from, and so where another suite of it is.
# shellcheck shell=bash

# codename: of the Debian that this is; fails where it is none.
codename() { (. /etc/os-release && [ "$ID" = debian ] && printf '%s\n' "$VERSION_CODENAME"); }

# debian_sources SUITE: this machine's lines for Debian itself, for another suite.
debian_sources() {
  # shellcheck disable=SC2016 # apt-get's own variables
  apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' | sort -u |
    sed -nE "s/^([^ ]+) $(codename)(-updates|-security)? ([^ ]+)\$/deb \1 $1\2 \3/p"
}
