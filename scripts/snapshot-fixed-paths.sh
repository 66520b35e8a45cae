#!/usr/bin/env bash
# Prints a listing of the fixed paths the library knows (/opt, /etc,
# /var/lock) and of the top of /tmp, so that CI can show that the test suite
# left them as it found them. Access times are left out: reading is allowed.
#   snapshot-fixed-paths.sh fixed   the three fixed trees, in full
#   snapshot-fixed-paths.sh tmp     the names at the top of /tmp
case "${1:-fixed}" in
fixed)
    for root in /opt /etc /var/lock; do
        [ -e "$root" ] && find "$root" -xdev -printf '%p %y %s %T@ %m\n' 2>/dev/null
    done | sort ;;
tmp)
    find /tmp -mindepth 1 -maxdepth 1 -printf '%p %y\n' 2>/dev/null | sort ;;
esac
