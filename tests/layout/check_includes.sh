#!/usr/bin/env bash
# Includes point one way: foundation <- elements <- tavix/* <- programs, and what users see of the library needs
# nothing but the library and the language. Prints each line that breaks a rule.
#   check_includes.sh SOURCE_DIRECTORY
set -euo pipefail
cd "$1"

broken=0
# Complains as $1 of the include lines in the files named on standard input that match $2 but not $3.
refuse() {
    local lines
    lines=$(xargs -r grep -HnE '^[[:space:]]*#[[:space:]]*include' | grep -E "include *$2" | grep -vE "include *$3" || true)
    if [ -n "$lines" ]; then
        printf '%s:\n%s\n' "$1" "$lines"
        broken=1
    fi
}

sources() { find "$@" -name '*.h' -o -name '*.cpp' | sort; }
public_headers() { find tavix -name '*.h' ! -name '*Internal.h' | sort; }
nothing='-'

refuse "foundation knows nothing of the rest" '["<]tavix/' '["<]tavix/foundation/' < <(sources tavix/foundation)
refuse "elements may use foundation and SvcErr" '["<]tavix/' \
    '["<]tavix/(foundation/|elements/|SvcErr\.h)' < <(sources tavix/elements)
refuse "the library includes itself by full path" '"' '"tavix/' < <(sources tavix)
refuse "public headers name the installed ones" '"' "$nothing" < <(public_headers)
refuse "public headers include no internal one" '<.*Internal\.h' "$nothing" < <(public_headers)
refuse "public headers need no other library" '<(glib|gio|nlohmann|boost|expat|CLI)' "$nothing" < <(public_headers)
refuse "programs are users of the library" '["<]tavix/.*Internal\.h' "$nothing" < <(sources programs examples bench)

umbrella=$(grep -oE '<tavix/[^>]*>' tavix/tavix.h | tr -d '<>' | sort)
public=$(public_headers | grep -vE '^tavix/(tavix|capi)\.h$' | sort)
if ! diff <(echo "$umbrella") <(echo "$public"); then
    echo "tavix/tavix.h does not bring exactly the public headers (above: < what it brings, > what there is)"
    broken=1
fi
exit "$broken"
