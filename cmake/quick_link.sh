#!/bin/bash
# Links a test program with lld, in a tenth of a second where binutils takes three. gcc calls its steps through this
# (-wrapper), since it knows one linker for Windows.
shift
exec ld.lld "$@"
