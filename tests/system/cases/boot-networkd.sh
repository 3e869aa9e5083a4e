# shows: a boot beside networkd, which makes the bridge: the service starts once, waits, and takes it
# limit: 240

boot1() {
    installs "/host$SYSTEM_PACKAGE"
    configures
    manager networkd
}

boot2() { comesUpWith; }
