#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# case.sh: one boot of a case, inside: $SYSTEM_CASE, $SYSTEM_BOOT, with the verbs of lib.sh. A command that fails
# fails the case, and what was there to see is shown. Then the machine is switched off.
set -uo pipefail
export LC_ALL=C.UTF-8
log=/host$SYSTEM_OUT/$SYSTEM_CASE.log
exec >>"$log" 2>&1 </dev/null

# A process of its own: where its status is asked for, a function goes on behind what fails.
if [[ ${1:-} == inside ]]; then
    set -euE
    source "/host$SYSTEM_TESTS/lib.sh"
    trap 'systemHappened $? "$BASH_COMMAND" ${BASH_LINENO[*]}' ERR
    source "/host$SYSTEM_TESTS/cases/$SYSTEM_CASE.sh"
    say "boot $SYSTEM_BOOT"
    "boot$SYSTEM_BOOT"
    exit
fi
"$0" inside && touch "/host$SYSTEM_OUT/$SYSTEM_CASE.$SYSTEM_BOOT.passed"
systemctl poweroff --force
