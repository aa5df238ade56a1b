#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Makes a folder with Debian's libraries of another architecture, to build against and to run with
# qemu-user. Nothing is installed: apt keeps its lists and packages below the folder, so that an
# ordinary user can do it and the machine's own package lists stay as they are.
# usage: sysroot.sh arm64|armhf FOLDER
set -euo pipefail
architecture=$1 folder=$(readlink -m "$2")
packages=(android-libbase android-liblog android-libcutils android-libboringssl libgmock-dev
  libjsoncpp-dev libssl-dev libstdc++-12-dev)

case $architecture in
  arm64) triple=aarch64-linux-gnu ;;
  armhf) triple=arm-linux-gnueabihf ;;
  *) echo "sysroot.sh: no architecture $architecture" >&2; exit 2 ;;
esac
# Made anew when this script has changed.
cmp -s "$0" "$folder/made-by" && exit

rm -rf "$folder"
mkdir -p "$folder"/{lists,cache/archives}/partial "$folder/root"
: >"$folder/status"
cat >"$folder/apt.conf" <<CONF
APT::Architecture "$architecture";
APT::Architectures { "$architecture"; };
APT::Sandbox::User "";
Acquire::Languages "none";
Dir::State "$folder";
Dir::State::lists "$folder/lists";
Dir::State::status "$folder/status";
Dir::Cache "$folder/cache";
CONF
export APT_CONFIG=$folder/apt.conf
apt-get -q update || echo "sysroot.sh: goes on without the lists that did not come" >&2
apt-get -q install -y --download-only --no-install-recommends "${packages[@]}"
for package in "$folder"/cache/archives/*.deb; do
  dpkg-deb -x "$package" "$folder/root"
done

# /lib and /usr/lib in one: the emulator does not look into the folder for all that the dynamic linker
# asks for, which gives a folder up in which it missed one file.
cp -a "$folder/root/lib/." "$folder/root/usr/lib/"
rm -r "$folder/root/lib"
ln -s usr/lib "$folder/root/lib"

# Links that mean the folder's own files.
find "$folder/root" -type l -lname '/*' | while read -r link; do
  ln -sfn "$folder/root$(readlink "$link")" "$link"
done

# Headers that are the same for every architecture, and of the platform's libraries the names to link
# with.
ln -sfn /usr/include/android "$folder/root/usr/include/android"
ln -sfn /usr/include/valijson "$folder/root/usr/include/valijson"
for library in "$folder/root/usr/lib/$triple"/android/lib*.so.0; do
  ln -sfn "$(basename "$library")" "${library%.0}"
done
rm -r "$folder/cache" "$folder/lists"
cp "$0" "$folder/made-by"
