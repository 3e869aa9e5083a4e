#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# case.sh NAME: one case, with the verbs of lib.sh. A command that fails fails the case, and what was
# there to see is shown.
set -euE -o pipefail
source "$KERNEL_TESTS/lib.sh"
trap 'whatHappened $? "$BASH_COMMAND" ${BASH_LINENO[*]}' ERR
source "$KERNEL_TESTS/cases/$1.sh"
for running in "${!daemonJob[@]}"; do stopDaemon "$running"; done
