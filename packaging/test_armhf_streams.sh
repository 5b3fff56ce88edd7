#!/bin/bash
# Whether streams built for 32-bit ARM start, emulated: each kind's command is printed, and the gst-launch-1.0
# of that architecture makes a pipeline of it with its own plugins and ours; the RTSP server listens. Run by
# test_armhf.sh in a sandbox. Usage: test_armhf_streams.sh BUILD-DIRECTORY SYSROOT
set -euo pipefail
build=$(realpath "$1")
sysroot=$(realpath "$2")

work=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$work"' EXIT
fail() {
    echo "test_armhf_streams.sh: $*" >&2
    cat "$said" >&2
    exit 1
}
# Waits for a condition, at most 60 s.
wait_until() {
    local left=600
    until "$@"; do
        ((left-- > 0)) || fail "waited in vain for: $*"
        sleep 0.1
    done
}

# As in the package, with programs that emulate in place of links to gst-launch-1.0.
mkdir -p "$work/bin" "$work/gstreamer-1.0"
cp "$build/stream" "$build/rtsp-server" "$work/bin"
cp "$build/gstreamer-1.0/libgstfieldrelaybox.so" "$work/gstreamer-1.0"
libraries=$sysroot/usr/lib/arm-linux-gnueabihf
export QEMU_LD_PREFIX=$sysroot GST_REGISTRY=$work/registry.bin GST_REGISTRY_FORK=no
export QEMU_SET_ENV="LD_LIBRARY_PATH=$libraries:$libraries/pulseaudio:$libraries/blas:$libraries/lapack"
QEMU_SET_ENV+=",GST_PLUGIN_SYSTEM_PATH=$libraries/gstreamer-1.0"
for name in gst-launch-1.0 audio-source video-player video-receiver; do
    printf '#!/bin/sh\nexec qemu-arm-static %s/usr/bin/gst-launch-1.0 "$@"\n' "$sysroot" >"$work/bin/$name"
    chmod +x "$work/bin/$name"
done
PATH=$work/bin:$PATH

cd "$work"
printf '%s\n' {rtmp,mpegts,tcp,rtsp,video_transcode,audio}_enabled=1 rtmp_url=rtmp://127.0.0.1/live/key tcp_port=8555 \
    mpegts_clients=127.0.0.1:7000 audio_bitrate=64000 >fieldrelaybox.conf
printf '%s\n' url=test: sound=test: >source.conf
touch none
said=none

printed() {
    case $1 in
    sound | source) qemu-arm-static bin/stream "$1" --print --config source.conf ;;
    *) qemu-arm-static bin/stream "$1" --print ;;
    esac
}

mapfile -t kinds < <(qemu-arm-static bin/stream --list | awk '{ print $1 }')
[ ${#kinds[@]} -gt 0 ] || fail "no kinds"
for kind in "${kinds[@]}"; do
    line=$(printed "$kind") || fail "$kind prints nothing"
    touch "$kind.said"
    said=$kind.said
    if [ "$kind" = rtsp ]; then
        qemu-arm-static bin/rtsp-server >"$said" 2>&1 &
        wait_until sh -c 'ss -Htln "sport = 8554" | grep -q .'
    else
        # Its first words to whoever is not told to be quiet come once it has made the pipeline.
        sh -c "exec env ${line/ -q / }" >"$said" 2>&1 &
        wait_until grep -Eq "^Setting pipeline to PAUSED|^WARNING: erroneous|^ERROR: pipeline" "$said"
        grep -q "^Setting pipeline" "$said" || fail "$kind: no pipeline"
    fi
    kill $!
    echo "$kind starts on armhf"
done
