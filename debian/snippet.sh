#!/bin/sh
# Writes a web-server snippet from deploy/ with the package's paths:
#   sh debian/snippet.sh lighttpd|apache SNIPPET SASL_PATH
# The snippets name the paths of a build installed by hand (/usr/local/...);
# the package installs under /usr. For lighttpd, the variables the snippet's
# head asks to define ("#   var.kestrel_... = ...") are defined at its top,
# so that lighttpd-enable-mod is all it takes.
set -eu
kind=$1 snippet=$2 sasl_path=$3
rewrite() {
  sed -e "s|/usr/local/lib/kestrel/sasl-none|$sasl_path|g" \
      -e 's|/usr/local/|/usr/|g' "$snippet"
}
case $kind in
  lighttpd)
    printf '%s\n' "# Installed by the kestrel package; enable with" \
      "# \"lighttpd-enable-mod kestrel\". The variables the text below asks" \
      "# for are defined here." ""
    rewrite | sed -n 's/^#[[:space:]]*\(var\.kestrel_[a-z_]*[[:space:]]*=.*\)$/\1/p'
    echo
    rewrite
    ;;
  apache)
    printf '%s\n' "# Installed by the kestrel package; enable with" \
      "# \"a2enmod cgid headers && a2enconf kestrel\"." ""
    rewrite
    ;;
  *) echo "snippet.sh: unknown kind $kind" >&2; exit 2 ;;
esac
