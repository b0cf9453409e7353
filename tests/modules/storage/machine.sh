# To be sourced: a machine with one drive, /dev/sda, in a mount namespace of its own. With the folder of the built
# modules as first argument, the script that sources this comes a second time inside, in a folder of its own with the
# module "storage", whose programs of administrators are those in the folder "sbin". Ends with 77 where there are no
# such namespaces.

private="unshare --mount"
((EUID == 0)) || private="unshare --user --map-root-user --mount"

if [[ ${1-} != inside ]]; then
  $private true || { echo "no mount namespaces here"; exit 77; }
  folder=$(mktemp -d) || exit 1
  trap 'rm -rf "$folder"' EXIT
  cp "$1"/storage "$1"/storage.w4p "$folder" || exit 1
  drive=devices/pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0/block/sda
  mkdir -p "$folder/sbin" "$folder/sys/block" "$folder/sys/$drive/queue"
  ln -s "../$drive" "$folder/sys/block/sda"
  echo 2097152 >"$folder/sys/$drive/size"
  echo 0 | tee "$folder/sys/$drive"/{removable,ro,queue/rotational} >/dev/null
  echo 512 | tee "$folder/sys/$drive/queue"/{logical,physical}_block_size >/dev/null
  $private "$BASH" "$0" inside "$folder" "${@:2}"
  exit
fi

mount --make-rprivate / && mount --bind "$2/sys" /sys && mount --bind "$2/sbin" /usr/sbin && cd "$2" || exit 1
