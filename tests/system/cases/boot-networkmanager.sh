# shows: a boot beside NetworkManager, which makes the bridge: the service starts once, waits, and takes it
# limit: 240

boot1() {
    installs "/host$SYSTEM_PACKAGE"
    configures
    manager NetworkManager
}

boot2() { comesUpWith; }
