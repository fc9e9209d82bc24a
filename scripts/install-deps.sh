#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need. Safe to run again:
# it asks apt only when something is missing.
set -euo pipefail

packages=(
    build-essential cmake ninja-build pkg-config locales
    googletest libgtest-dev libgmock-dev libbenchmark-dev
    duktape-dev
    libcurl4-openssl-dev rapidjson-dev libkrb5-dev libssl-dev openssl curl
    unixodbc-dev unixodbc libsqliteodbc postgresql odbc-postgresql
    libxml2-utils libpugixml-dev
    libxml2-dev # the document object model of the DOM streams
    zlib1g-dev libminizip-dev
    zip unzip python3 # zip interoperability tests
    graphviz # the command-line host's test renders its dependency graph with dot
    libmuparser-dev # peer of the formula benchmark only
)

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
if [ ${#missing[@]} -gt 0 ]; then
    export DEBIAN_FRONTEND=noninteractive
    $SUDO apt-get update -qq
    $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

# Tests prove that number text ignores a host's comma locale: they need one.
if ! locale -a 2>/dev/null | grep -qi '^ru_RU\.utf-\?8$'; then
    $SUDO localedef -i ru_RU -f UTF-8 ru_RU.UTF-8
fi
