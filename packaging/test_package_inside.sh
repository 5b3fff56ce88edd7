#!/bin/bash
# The steps of test_package.sh, run as root inside the booted system. Stops at the first failure.
set -euo pipefail
cd /packages
export DEBIAN_FRONTEND=noninteractive

step() { printf '== %s\n' "$*"; }
fail() {
    printf 'FAILED: %s\n' "$*"
    systemctl --no-pager status fieldrelaybox.service || true
    journalctl --no-pager -n 30 -u fieldrelaybox.service || true
    exit 1
}
# Waits for a condition, at most 15 s.
wait_until() {
    local left=150
    until "$@"; do
        ((left-- > 0)) || fail "waited in vain for: $*"
        sleep 0.1
    done
}
main_process() { systemctl show -P MainPID fieldrelaybox.service; }
is_running() { [ "$(head -c 1 /dev/shm/hud_mem 2>/dev/null)" = $'\x01' ] && [ "$(main_process)" != 0 ]; }
is_another_process_than() { [ "$(main_process)" != "$1" ] && is_running; }
# Text at an offset of the settings in shared memory, which follow the daemon's own every 3 s.
setting_at() { tail -c "+$(($1 + 1))" /dev/shm/config_mem | head -c "$2" | tr -d '\0'; }
setting_is() { [ "$(setting_at "$1" "$2")" = "$3" ]; }
set_value() { fieldrelaybox-client set --host 127.0.0.1 "$@" || fail "not set: $*"; }
stream_process() { systemctl show -P MainPID "fieldrelaybox-stream@$1.service"; }
# Whether pictures that come so can be decoded, as a player would.
plays() {
    timeout 5 gst-launch-1.0 -q "$@" ! h264parse ! avdec_h264 ! identity eos-after=20 ! fakesink >/dev/null 2>&1
}
plays_at() { plays tcpclientsrc host=127.0.0.1 port="$1" ! tsdemux; }
camera_is_connected() { [ "$(tail -c +135 /dev/shm/hud_mem | head -c 1 | od -An -tu1)" -eq 1 ]; }
camera_ssid=(2438 256)
is_private() { [ -z "$(find "$@" ! -perm 600)" ] || fail "not for root alone: $(ls -l "$@")"; }
# panel_answers PATH STATUS [JSON]: of a browser that keeps its cookie; the answer is left in panel-answer.
panel_answers() {
    python3 - "$@" <<'PYTHON'
import http.client, pathlib, sys
path, status, body = sys.argv[1], int(sys.argv[2]), sys.argv[3] if len(sys.argv) > 3 else None
jar = pathlib.Path("panel-cookie")
browser = http.client.HTTPConnection("127.0.0.1", timeout=10)
headers = {"Origin": "http://127.0.0.1", "Cookie": jar.read_text() if jar.exists() else ""}
browser.request("POST" if body else "GET", path, body, headers)
answer = browser.getresponse()
pathlib.Path("panel-answer").write_bytes(answer.read())
if cookie := answer.getheader("Set-Cookie"):
    jar.write_text(cookie.split(";")[0])
sys.exit(answer.status != status)
PYTHON
}

step "install"
dpkg -i fieldrelaybox_*.deb
wait_until is_running
[ "$(readlink /usr/lib/fieldrelaybox/fieldrelaybox.conf)" = /run/fieldrelaybox.conf ] || fail "no link"
[ ! -e /run/fieldrelaybox.conf ] || fail "settings out of nothing"

step "unit"
# What it does not know in a unit it tells, but takes for no fault.
faults=$(systemd-analyze verify --man=no fieldrelaybox.service 2>&1) || fail "the unit is faulty: $faults"
[ -z "$faults" ] || fail "the unit is faulty: $faults"
systemd-analyze security --no-pager --threshold="$EXPOSURE_LIMIT" fieldrelaybox.service | tail -n 1 ||
    fail "the service has more rights than $EXPOSURE_LIMIT tenths"
[ "$(systemctl is-enabled fieldrelaybox.service)" = enabled ] || fail "not started with the system"
drop_ins=/run/systemd/system/fieldrelaybox.service.d
install -D -m 644 -t $drop_ins /usr/share/doc/fieldrelaybox/examples/allowed-networks.conf
faults=$(systemd-analyze verify --man=no fieldrelaybox.service 2>&1) || fail "the example is faulty: $faults"
[ -z "$faults" ] || fail "the example is faulty: $faults"
systemctl daemon-reload
denied=$(systemctl show -P IPAddressDeny fieldrelaybox.service | tr ' ' '\n' | sort | tr '\n' ' ') # in any order
[ "$denied" = "0.0.0.0/0 ::/0 " ] || fail "nobody is kept out, but $denied"
rm -r $drop_ins
systemctl daemon-reload

step "journal"
in_journal() { journalctl -q -u fieldrelaybox.service -o cat -p "$1..$1" | grep -q "^$2"; }
wait_until in_journal info "Init device discovery$"
wait_until in_journal warning "cannot open fieldrelaybox.conf: "
wait_until in_journal warning "no fieldrelaybox.conf in /boot"

step "install the tools"
dpkg -i fieldrelaybox-tools_*.deb
[ -x /usr/lib/fieldrelaybox/bin/wlanstatus ] || fail "no wlanstatus"
for tool in client camera-simulator rc-simulator numbered-stream relay-server; do
    "fieldrelaybox-$tool" --help >/dev/null || fail "fieldrelaybox-$tool does not start"
done

step "configure: the sample, edited on another computer's terms"
sed 's/^camera_ssid=.*/camera_ssid="of the test"\r/' \
    /usr/share/doc/fieldrelaybox/examples/fieldrelaybox.conf >/medium/fieldrelaybox.conf
systemctl restart fieldrelaybox.service
wait_until setting_is "${camera_ssid[@]}" "of the test"
if grep -q $'\r' /run/fieldrelaybox.conf; then fail "carriage returns in the copy"; fi
grep -qx 'camera_ssid="of the test"' /run/fieldrelaybox.conf || fail "the copy differs"
is_private /run/fieldrelaybox.conf

step "a setting from the client reaches the boot partition, which is read-only again"
[ ! -w /boot/fieldrelaybox.conf ] || findmnt -n -O ro /boot >/dev/null || fail "/boot is writable before"
fieldrelaybox-client set --host 127.0.0.1 udp_clients 127.0.0.1:7000 || fail "not set"
wait_until grep -q $'^udp_clients=127.0.0.1:7000\r$' /boot/fieldrelaybox.conf
wait_until grep -qx 'udp_clients=127.0.0.1:7000' /run/fieldrelaybox.conf
wait_until findmnt -n -O ro /boot >/dev/null
grep -q $'^camera_ssid="of the test"\r$' /medium/fieldrelaybox.conf || fail "other settings are lost"
is_private /run/fieldrelaybox.conf /boot/fieldrelaybox.conf.bak /dev/shm/hud_mem /dev/shm/config_mem

step "RC input: runs with few rights, is back when it was ended, hands its calibration to the boot partition"
rc_units=(fieldrelaybox-rcin.service fieldrelaybox-rcin-store.path fieldrelaybox-rcin-store.service)
faults=$(systemd-analyze verify --man=no "${rc_units[@]}" 2>&1) || fail "faulty: $faults"
[ -z "$faults" ] || fail "a unit is faulty: $faults"
has_few_rights() {
    systemd-analyze security --no-pager --threshold="$2" "$1" | tail -n 1 ||
        fail "$1 has more rights than $2 tenths"
}
has_few_rights fieldrelaybox-rcin.service "$RCIN_EXPOSURE_LIMIT"
has_few_rights fieldrelaybox-rcin-store.service "$RCIN_STORE_EXPOSURE_LIMIT"
for unit in "${rc_units[@]:0:2}"; do
    [ "$(systemctl is-enabled "$unit")" = enabled ] || fail "$unit is not started with the system"
    wait_until systemctl is-active --quiet "$unit"
done
rcin_process() { systemctl show -P MainPID fieldrelaybox-rcin.service; }
rc_state_is() { [ "$(tail -c +832 /dev/shm/hud_mem | head -c 1 | od -An -tu1)" -eq "$1" ]; }
echo uart=/dev/ttyAMA9 >/etc/fieldrelaybox/rcin.conf
before=$(rcin_process)
set_value rcin_mode sbus off # the daemon ends it
set_value rcin_enabled 1
is_another_rcin() { [ "$(rcin_process)" != "$before" ] && systemctl is-active --quiet fieldrelaybox-rcin.service; }
wait_until is_another_rcin
wait_until rc_state_is 1 # its rights are enough for the status block; the device is not there
calibration=$(printf '%s\n' "rcin-calibration 1 sbus off" "1 1000 1500 2000" end)
echo "$calibration" >/run/fieldrelaybox-rcin/new
mv /run/fieldrelaybox-rcin/new /run/fieldrelaybox-rcin/rcin.cal
wait_until [ ! -e /run/fieldrelaybox-rcin/rcin.cal ]
[ "$(cat /medium/rcin.cal)" = "$calibration" ] || fail "the calibration is not on the boot partition"
findmnt -n -O ro /boot >/dev/null || fail "/boot is writable afterwards"
ours="$(readlink /proc/self/ns/mnt)/0022" # FAT takes its modes from the umask
sed -e "s#^ExecStart=.*#ExecStart=/bin/sh -c '[ \$\$(readlink /proc/self/ns/mnt)/\$\$(umask) = $ours ]'#" \
    -e '/^Restart/d' /lib/systemd/system/fieldrelaybox-rcin-store.service >/run/systemd/system/mounts.service
systemctl start mounts.service || fail "what it mounts is not for the whole box"

step "networks: few rights; what changed reaches the program, which has no NetworkManager here and says so"
network_units=(fieldrelaybox-network.path fieldrelaybox-network.service fieldrelaybox-search@camera.service
    fieldrelaybox-access-point.service fieldrelaybox-access-point-addresses.service)
faults=$(systemd-analyze verify --man=no "${network_units[@]}" 2>&1 | grep -v 'is not executable: No such file') || true
[ -z "$faults" ] || fail "a unit is faulty: $faults"
has_few_rights fieldrelaybox-network.service 15
has_few_rights fieldrelaybox-search@camera.service 15
has_few_rights fieldrelaybox-access-point.service 27
has_few_rights fieldrelaybox-access-point-addresses.service 24
for unit in "${network_units[@]:0:2}"; do
    [ "$(systemctl is-enabled "$unit")" = enabled ] || fail "$unit is not started with the system"
done
network_says() { journalctl -q -u fieldrelaybox-network.service -o cat | grep -qF "$1"; }
fieldrelaybox-client wifi set --host 127.0.0.1 --camera wlan0 "of the networks" "" || fail "the networks are not set"
wait_until network_says 'camera: "of the networks" on wlan0, which is not there yet'
wait_until network_says 'cannot make the camera: "nmcli connection load'
[ ! -e /run/wlan.update ] || fail "the marker waits"
fieldrelaybox-client wifi set --host 127.0.0.1 --camera wlan0 "of the test" "" || fail "the networks are not set back"
systemctl stop "${network_units[@]:0:2}"

step "panel: asks for the password that was made for this box, and has few rights"
dpkg -i fieldrelaybox-panel_*.deb | grep -F "sudo cat /etc/fieldrelaybox/panel-password.txt" ||
    fail "nobody is told where the password is"
[ "$(stat -c '%a %U' /etc/fieldrelaybox/panel-password.txt)" = "600 root" ] || fail "the password is not for root alone"
password=$(cat /etc/fieldrelaybox/panel-password.txt)
[[ $password =~ ^([a-z2-9]{4}-){3}[a-z2-9]{4}$ ]] || fail "an unfit password was made"
panel_units=(fieldrelaybox-panel.service fieldrelaybox-panel.socket)
faults=$(systemd-analyze verify --man=no "${panel_units[@]}" 2>&1) || fail "faulty: $faults"
[ -z "$faults" ] || fail "a unit is faulty: $faults"
has_few_rights fieldrelaybox-panel.service "$PANEL_EXPOSURE_LIMIT"
panel_runs() { systemctl is-active --quiet "${panel_units[@]}"; }
for unit in "${panel_units[@]}"; do
    [ "$(systemctl is-enabled "$unit")" = enabled ] || fail "$unit is not started with the system"
done
wait_until panel_runs
wait_until panel_answers / 200
panel_answers /metrics 401 || fail "the counters are not behind the password"
panel_answers /session 401 || fail "let in without a password"
panel_answers /login 401 '{"password":"of-another-box"}' || fail "let in with a wrong password"
panel_answers /login 204 "{\"password\":\"$password\"}" || fail "not let in with the password"
panel_answers /session 204 || fail "not known again"
panel_sees_the_box() { panel_answers /metrics 200 && grep -q "$1" panel-answer; }
wait_until panel_sees_the_box '^fieldrelaybox_start_time_seconds [0-9]' # also the daemon's own counters
told=$(journalctl -q -p warning -u fieldrelaybox-panel.service | grep -v "gave a wrong password") || true
[ -z "$told" ] || fail "the panel complains: $told"
kill -SEGV "$(systemctl show -P MainPID fieldrelaybox-panel.service)"
wait_until panel_answers / 200

step "the documentation's links lead to files"
links=$(grep -roP --include='*.md' '\]\(\K(?![a-z]+:)[^)# ]+' /usr/share/doc/fieldrelaybox) || fail "no documentation"
while IFS=: read -r page link; do
    [ -e "${page%/*}/$link" ] || fail "$page leads to $link"
done <<<"$links"

step "streams: all kinds wait, with few rights"
dpkg -i fieldrelaybox-streams_*.deb
[ "$(systemctl is-enabled fieldrelaybox-streams.target)" = enabled ] || fail "not started with the system"
mapfile -t streams < <(/usr/lib/fieldrelaybox/bin/stream --list | awk '{ print "fieldrelaybox-stream@" $1 ".service" }')
wanted=$(systemctl show -P Wants fieldrelaybox-streams.target | tr ' ' '\n' | sort)
[ "$wanted" = "$(printf '%s\n' "${streams[@]}" | sort)" ] || fail "the target starts $wanted"
faults=$(systemd-analyze verify --man=no fieldrelaybox-streams.target "${streams[@]}" 2>&1) || fail "faulty: $faults"
[ -z "$faults" ] || fail "a unit is faulty: $faults"
for unit in "${streams[@]}"; do
    wait_until systemctl is-active --quiet "$unit"
    systemd-analyze security --no-pager --threshold="$STREAM_EXPOSURE_LIMIT" "$unit" | tail -n 1 ||
        fail "$unit has more rights than $STREAM_EXPOSURE_LIMIT tenths"
done

step "streams: a source is played over TCP and RTSP, as the settings say, also when they change"
echo url=test: >/etc/fieldrelaybox/source.conf
set_value tcp_enabled 1
wait_until plays_at 8555
set_value tcp_port 8600
wait_until plays_at 8600
set_value rtsp_enabled 1
wait_until plays rtspsrc location=rtsp://127.0.0.1:8554/video ! rtph264depay
set_value video_resolution 320x240
set_value video_transcode_enabled 1 # all that is played is the transcoder's from here on
wait_until plays_at 8600
for kind in source tcp rtsp transcode; do # its rights are enough
    told=$(journalctl -q -p warning -u "fieldrelaybox-stream@$kind.service")
    [ -z "$told" ] || fail "$kind complains: $told"
done
set_value audio_enabled 0
wait_until sh -c '! systemctl is-active --quiet fieldrelaybox-stream@sound.service'
set_value audio_enabled 1
wait_until systemctl is-active --quiet fieldrelaybox-stream@sound.service

step "the rights of the unit are enough for the daemon's commands, and for no more"
sed -e '/^ExecStartPre=/d; /^Restart/d; s/^Type=.*/Type=oneshot/; s/^StandardOutput=.*/StandardOutput=journal/' \
    -e 's#^ExecStart=.*#ExecStart=/packages/commands#' \
    /lib/systemd/system/fieldrelaybox.service >/run/systemd/system/commands.service
cat >commands <<'COMMANDS'
#!/bin/sh -ex
ping -c 1 -W 1 127.0.0.1 >/dev/null
pidof systemd >/dev/null
killall rtsp-server
killall raspivid
echo 1 >/proc/sys/net/ipv4/ip_forward
echo 0 >/proc/sys/net/ipv4/ip_forward
systemctl show -P Version >/dev/null
iwlist lo scan 2>&1 | grep -q "doesn't support scanning"
touch /run/wlan.update
[ "$(umask)" = 0022 ] # what it mounts is for everybody
denied() {
    if "$@" 2>/dev/null; then exit 1; fi
}
denied hostname elsewhere
denied chown nobody /run/wlan.update
denied unshare --net true
COMMANDS
chmod +x commands
cp /bin/sleep raspivid
setpriv --reuid=nobody --clear-groups ./raspivid 60 &
wait_until pidof -q raspivid
before=$(pidof rtsp-server)
systemctl start commands.service || {
    journalctl --no-pager -u commands.service
    fail "a command failed, or one succeeded that should not have"
}
wait_until sh -c "pidof rtsp-server | grep -qvx $before"
fieldrelaybox-camera-simulator --quiet --for 10 >/dev/null &
wait_until camera_is_connected

step "restart on request (exit status 3), and again and again after faults"
before=$(main_process)
fieldrelaybox-client restart --host 127.0.0.1 || fail "the client could not restart the daemon"
wait_until is_another_process_than "$before"
for ((round = 0; round < 8; round++)); do
    before=$(main_process)
    kill -SEGV "$before"
    wait_until is_another_process_than "$before"
done

step "a daemon that hangs is started anew"
quick=/run/systemd/system/fieldrelaybox.service.d
install -d $quick
printf '[Service]\nWatchdogSec=6\nTimeoutAbortSec=1\n' >$quick/quick.conf
systemctl daemon-reload
systemctl restart fieldrelaybox.service
before=$(main_process)
sleep 7
[ "$(main_process)" = "$before" ] || fail "started anew although it is alive"
kill -STOP "$before"
wait_until is_another_process_than "$before"
rm -r $quick
systemctl daemon-reload

step "what the pages tell people to type"
while read -r command; do
    status=0
    bash -c "$command" >command-output 2>&1 <<<"a password of the pages" || status=$?
    case $status:$command in
    0:* | 3:"systemctl status "*) ;; # 3: one that is switched off
    *) fail "$command: status $status: $(cat command-output)" ;;
    esac
done <page-commands
dpkg-divert --quiet --remove --rename /usr/lib/fieldrelaybox/scripts/hdmi-change.sh
systemctl unmask fieldrelaybox-stream@player.service fieldrelaybox-stream@tcp.service
systemctl restart fieldrelaybox-streams.target
wait_until is_running
wait_until panel_runs

step "start with the settings on /boot/firmware, and with none at all"
umount /boot
install -d /boot/firmware
sed "s/of the test/of the firmware/" /medium/fieldrelaybox.conf >/boot/firmware/fieldrelaybox.conf
rm /medium/fieldrelaybox.conf /medium/fieldrelaybox.conf.bak /medium/rcin.cal
sed -i '/ \/boot /d' /etc/fstab
systemctl daemon-reload
systemctl restart fieldrelaybox.service
wait_until setting_is "${camera_ssid[@]}" "of the firmware"
ln -s firmware/fieldrelaybox.conf /boot/fieldrelaybox.conf
fieldrelaybox-client set --host 127.0.0.1 udp_clients 127.0.0.1:7001 || fail "not set"
wait_until grep -qx 'udp_clients=127.0.0.1:7001' /run/fieldrelaybox.conf # the last step of a save
grep -q '^udp_clients=127.0.0.1:7001' /boot/firmware/fieldrelaybox.conf || fail "not saved"
[ -L /boot/fieldrelaybox.conf ] || fail "saving replaced the link"
journalctl --sync
told=$(journalctl -q -u fieldrelaybox.service -o cat | grep -E '^u?mount: ') || true
[ -z "$told" ] || fail "mount complains, where nothing is to be mounted: $told"
mv /boot/firmware/fieldrelaybox.conf /medium/kept
rm /boot/firmware/fieldrelaybox.conf.bak
rm /run/fieldrelaybox.conf
systemctl restart fieldrelaybox.service
wait_until setting_is "${camera_ssid[@]}" ""
mv /medium/kept /boot/firmware/fieldrelaybox.conf

step "upgrade"
before=$(main_process)
stream_before=$(stream_process source)
dpkg -i newer/*.deb
wait_until is_another_process_than "$before"
wait_until setting_is "${camera_ssid[@]}" "of the firmware"
[ "$(dpkg-query -W -f '${Version}' fieldrelaybox)" = "$(dpkg-deb -f newer/fieldrelaybox_*.deb Version)" ] ||
    fail "not upgraded"

[ "$(stream_process source)" != "$stream_before" ] || fail "the old streams still run"
wait_until pidof video-receiver >/dev/null
wait_until panel_runs
[ "$(cat /etc/fieldrelaybox/panel-password.txt)" = "$password" ] || fail "another password"
wait_until panel_answers /login 204 "{\"password\":\"$password\"}"

step "remove"
dpkg -r fieldrelaybox-streams fieldrelaybox-panel fieldrelaybox fieldrelaybox-tools
running=$(pidof fieldrelaybox fieldrelaybox-panel rcin stream rtsp-server video-receiver gst-launch-1.0) || true
[ -z "$running" ] || fail "still running: $running"
[ ! -e /usr/lib/fieldrelaybox ] || fail "left in the install directory: $(ls /usr/lib/fieldrelaybox)"
[ ! -e /usr/share/fieldrelaybox-tools ] || fail "left: $(find /usr/share/fieldrelaybox-tools)"
[ -e /boot/firmware/fieldrelaybox.conf ] || fail "removing took the settings along"

step "purge"
dpkg -P fieldrelaybox-streams fieldrelaybox-panel fieldrelaybox
left=$(find / -xdev \( -path /packages -o -path /proc -o -path /sys -o -path /var/log -o -path /var/lib/dpkg \) \
    -prune -o \( -name '*fieldrelaybox*' -o -name rcin.cal \) -print; ls -d /run/fieldrelaybox* /dev/shm/*_mem 2>/dev/null || true)
[ -z "$left" ] || fail "left after purging: $left"
