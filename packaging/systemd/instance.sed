# SPDX-License-Identifier: MIT
#
# mvrp@.service from mvrp.service: one daemon for each bridge, which is the name of the instance.
s|^Description=.*|& on %i|
s|/etc/mvrp/mvrp\.toml|/etc/mvrp/%i.toml|g
s|^RuntimeDirectory=mvrp$|RuntimeDirectory=mvrp-%i|
s|^Environment=MVRP_RUNTIME_DIR=/run/mvrp$|Environment=MVRP_RUNTIME_DIR=/run/mvrp-%i|
s|^StateDirectory=mvrp$|StateDirectory=mvrp/%i|
s|/var/lib/mvrp/settings|/var/lib/mvrp/%i/settings|
