#!/bin/sh
# Answers the size of a folder with everything in it, as a decimal number of kilobytes.
#
# Query: user=NAME&pass=PASSWORD&path=FOLDER, in this order. Name and password come as they are,
# without encoding, so the query is cut at the names of its fields; the path is percent-encoded,
# lies under the account's root and may end in a slash.

set -f
export LC_ALL=C

answer() {
  printf 'Status: %s\r\nContent-Type: text/plain\r\nCache-Control: no-store\r\n\r\n%s\n' "$1" "$2"
  exit 0
}

percent_decoded() {
  printf '%s' "$1" | awk '
    BEGIN { for (i = 1; i < 256; i++) code[sprintf("%02x", i)] = sprintf("%c", i) }
    {
      text = $0; out = ""
      while ((at = index(text, "%")) > 0) {
        hex = tolower(substr(text, at + 1, 2))
        known = hex in code
        out = out substr(text, 1, known ? at - 1 : at) (known ? code[hex] : "")
        text = substr(text, at + (known ? 3 : 1))
      }
      printf "%s%s", (NR > 1 ? "\n" : ""), out text
    }'
}

stored_form() {
  printf '{SHA}%s' "$(printf '%s' "$1" | openssl dgst -sha1 -binary | openssl base64)"
}

# Some HTTP clients escape what may not stand in a request line, so the decoded form counts as well.
is_right_password() {
  stored=$(awk -F: -v user="$user" '$1 == user { print substr($0, length($1) + 2) }' \
    "$ACCOUNT_PASSWORDS")
  [ -n "$stored" ] || return 1
  [ "$stored" = "$(stored_form "$1")" ] ||
    [ "$stored" = "$(stored_form "$(percent_decoded "$1")")" ]
}

case $QUERY_STRING in
  user=*"&pass="*"&path="*) ;;
  *) answer '400 Bad Request' 'user, pass and path are wanted' ;;
esac
rest=${QUERY_STRING#user=}
user=${rest%%"&pass="*}
rest=${rest#*"&pass="}
password=${rest%"&path="*}
path=$(percent_decoded "${rest##*"&path="}")

case $user in
  '' | *[/:\\]* | .*) answer '403 Forbidden' 'unknown user or wrong password' ;;
esac
is_right_password "$password" || answer '403 Forbidden' 'unknown user or wrong password'

root=$(realpath -e -- "$ACCOUNT_DATA/users/$user/Files") || answer '404 Not Found' 'no such account'
folder=$(realpath -e -- "$root/$path" 2>/dev/null) || answer '404 Not Found' 'no such folder'
case $folder/ in
  "$root/"*) ;;
  *) answer '403 Forbidden' 'outside the account' ;;
esac

size=$(find "$folder" -name .DAV -prune -o -type f ! -name '.davfs.tmp*' -printf '%s\n' |
  awk '{ bytes += $1 } END { printf "%.10f", bytes / 1024 }')
answer '200 OK' "$size"
