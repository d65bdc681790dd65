#!/bin/sh
# Fails unless the module's dynamic symbol table defines exactly PluginMain.
set -eu
module="$1"
[ -f "$module" ] || { echo "no module at $module"; exit 1; }
defined=$(nm -D --defined-only "$module" | awk '{ print $NF }' | sort)
if [ "$defined" != "PluginMain" ]; then
  echo "exported symbols of $module:"
  echo "$defined"
  exit 1
fi
echo "only PluginMain is exported"
