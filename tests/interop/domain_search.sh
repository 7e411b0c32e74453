#!/usr/bin/env bash
# The users window's domain search on a private LAN: nmbd (Samba) and pilvanor-messenger answer for the
# workgroup, the search lists them, and adding them puts them in the data file; a known station is left alone.
source "$(dirname "$0")/lib.sh"
need_root_netns
need nmbd
search_bin=$(pv_bin pv_test_recherche_domaine)
service_bin=$(pv_bin pilvanor-messenger)

make_lan 3
set_host_name h1 PEERA TESTWG # the searcher: its smb.conf names the primary workgroup
start_nmbd h2 PEERB TESTWG
start_in h3 messenger "$service_bin" --foreground --spool "$WORK/h3/spool" --name PEERC --workgroup TESTWG
wait_name h1 'PEERB#00' >/dev/null
wait_name h1 'PEERC#03' >/dev/null

home="$WORK/h1/home"
data="$home/.local/share/Pilvanor/Pilvanor.pv"
mkdir -p "$(dirname "$data")"
printf '[User]\nPEERB=Samba peer|1\n' >"$data"

listed=$(in_host h1 env HOME="$home" XDG_DATA_HOME= XDG_CONFIG_HOME= PILVANOR_SMB_CONF="$(samba_conf h1)" \
    "$search_bin" 2>"$WORK/h1/log/search.err") || fail "the search found nothing: $(cat "$WORK/h1/log/search.err")"
users=$(sed -n '/^\[User\]/,/^\[/{/=/p}' "$data")

# The namespaces share the machine's host name: the service's computer name.
host=$(hostname | cut -d. -f1 | tr '[:lower:]' '[:upper:]')
host=${host:0:15}
expected=$(printf '%s\n' "PEERB=Samba peer|1" $(printf '%s\n' PEERC "$host" | LC_ALL=C sort -u | sed 's/.*/&=&|0/'))
[ "$users" = "$expected" ] || fail "users after the search: <$users>, expected <$expected>"
[ "$(printf '%s\n' "$listed" | LC_ALL=C sort | tr '\n' ' ')" = "$(printf '%s\n' PEERB PEERC "$host" | LC_ALL=C sort -u | tr '\n' ' ')" ] ||
    fail "the users list shows <$listed>"

echo "PASS domain search"
