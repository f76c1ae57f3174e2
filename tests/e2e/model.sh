#!/usr/bin/env bash
# Random games on the mounted drive, beside a model of a plain folder; now and then it is mounted anew.
# usage: model.sh ZVDRIVE SOURCE MOUNT_MODEL ordinary|sync ADDRESS OPERATIONS
mount_model=$3
kind=$4
address=$5
export ZV_MODEL_STEPS=${ZV_MODEL_STEPS:-$6}
source "$(dirname "$0")/lib.sh"

step "the model does what a folder of a local disk does"
mkdir "$root/local"
"$mount_model" local "$root/local"

step "and what the drive does"
start_server
set_account --type "$kind"
mount_drive
coproc game { exec "$mount_model" "$kind" "$drive" "$files"; }
game_pid=$game_PID
exec 8<&"${game[0]}" 9>&"${game[1]}"  # bash forgets its own when the program ends
while read -r word seconds <&8; do
  case $word in
    remount)
      unmount
      mount_drive --listing-seconds "$seconds" 8<&- 9>&-
      echo mounted >&9
      ;;
    *) echo "  $word $seconds" ;;
  esac
done
wait "$game_pid" || fail "the drive differs from its model"

step "nothing is left of the games"
[ -z "$(ls -A "$drive")$(ls -A "$files")" ] || fail "$(ls -A "$drive" "$files")"
"$zvdrive" pending | grep -q everything || fail "$("$zvdrive" pending)"
