#!/bin/sh
# Runs in the package environment's root, with what the router has put there, and leaves the package manager.
set -e
export PATH=/bin:/usr/bin
mkdir -p /opt/bin
wget -q -O /opt/bin/opkg.new http://packages.nalvex.example/entware/opkg
chmod 755 /opt/bin/opkg.new
mv /opt/bin/opkg.new /opt/bin/opkg
