#!/bin/bash
# Links a test program with lld, in a tenth of a second where binutils takes three. gcc calls its steps through this
# (-wrapper), since it knows one linker for Windows.
set -o pipefail
shift
# A delay-loaded library's addresses are written to when they have been looked up, and binutils puts them with the
# imports, which lld would leave read-only. It says then that its own rule for them comes second.
ld.lld -Xlink=-merge:.idata=.data "$@" 2>&1 | { grep -v 'warning: .idata=.rdata: already merged into .data' >&2 || true; }
