# shows: a boot beside ifupdown2, which makes the bridge: the service starts once, waits, and takes it
# limit: 240

boot1() {
    installs "/host$SYSTEM_PACKAGE"
    configures
    manager ifupdown2
}

boot2() { comesUpWith; }
