#!/usr/bin/env bash
# Runs kavrel-shard on a farm: three hosts of their own on this machine, each an sshd with a home, and
# nine slots. Every fault must end in the bytes of one run. Needs build/ as ./test.sh leaves it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
tools/need.sh parallel:parallel rsync:rsync /usr/sbin/sshd:openssh-server

root="$PWD"
build="$root/build"
farm="$(mktemp -d)"
trap stop_farm EXIT

# Ends each process that was started here.
stop_farm() {
  local host
  for host in 1 2 3; do stop_host "$host"; done
  rm -rf "$farm"
}

stop_host() {
  if [[ -e "$farm/host$1/pid" ]]; then kill "$(<"$farm/host$1/pid")" 2>/dev/null || true; fi
  rm -f "$farm/host$1/pid"
}

# Ends a process and all that it has started.
kill_tree() {
  local child
  for child in $(pgrep -P "$1"); do kill_tree "$child"; done
  kill -KILL "$1" 2>/dev/null || true
}

# A host of this number: commands start in its home, and find the scripted runtime.
start_host() {
  local home="$farm/host$1"
  mkdir -p "$home"
  cat >"$home/sshd_config" <<END
Port $((22200 + $1))
ListenAddress 127.0.0.1
HostKey $farm/key
AuthorizedKeysFile $farm/key.pub
StrictModes no
UsePAM no
PermitRootLogin yes
PidFile $home/pid
SetEnv HOME=$home LD_LIBRARY_PATH=$build/scripted_runtime PATH=${2:-$build}:/usr/bin:/bin
ForceCommand cd $home && eval "\$SSH_ORIGINAL_COMMAND"
END
  /usr/sbin/sshd -f "$home/sshd_config"
  for _ in {1..50}; do
    [[ ! -e "$home/pid" ]] || return 0
    sleep 0.1
  done
  echo "host $1 does not start" >&2
  return 1
}

write_inputs() {
  mkdir -p "$farm/work/models"
  cd "$farm/work"
  [[ -e samples ]] || cp -r "$root/samples" .
  printf '%s\n' 品 川 あ 1 2 5 0 >dictionary.txt
  printf '品川\n' >words.txt
  printf 'name corner\ninput image 1,128,256,3\noutput corners 1,8\n%s\n' \
    'answer * 0 floats 0 0 1 0 1 1 0 1' >models/corner
  printf 'name lines\ninput image 1,640,640,3\noutput map 1,1,64,64\n' >models/lines
  {
    printf 'name reader\ninput image 1,48,320,3\noutput steps 1,16,8\nby_input 3\n'
    printf 'answer 1 0 steps 8 1 0 2 0 6 0 7 0 7\nanswer 2 0 steps 8 3 0 4 0 5 0 4 0 5\n'
    [[ -z "${1:-}" ]] || printf 'sleep * %s\n' "$1"
  } >models/reader
  options=(--plate-corner-model models/corner --ppocr-det-model models/lines
    --ppocr-rec-model models/reader --dict-region words.txt --ocr-dict dictionary.txt)
  list=samples/rendered/rendered_expected.csv
}

say() { echo "== $*"; }

# The line that starts a job, and starts it again after whatever happened.
run_job() {
  kavrel-shard todo job | parallel --profile ./job/parallel --sshloginfile "$farm/hosts"
}

new_job() {
  rm -rf job out
  kavrel-shard plan --input-list "$list" --shards 9 job -- "${options[@]}" >/dev/null
  sed -i '/^--bar$/d' job/parallel # it fills a log
}

# The job is done, and its merge is the one run.
check_same() {
  [[ -z "$(kavrel-shard todo job)" ]] || { echo "shards are left to do" >&2 && return 1; }
  kavrel-shard merge job --output-dir out >merged.txt
  diff -r one out
  diff one.txt merged.txt
}

# The merge refuses an unfinished job.
check_refused() {
  if kavrel-shard merge job --output-dir out >/dev/null 2>&1 || [[ -e out ]]; then
    echo "an unfinished job was merged" >&2
    return 1
  fi
}

export PATH="$build:$PATH" LD_LIBRARY_PATH="$build/scripted_runtime"
export PARALLEL_SSH="ssh -F $farm/ssh_config"
[[ $EUID != 0 ]] || mkdir -p /run/sshd
ssh-keygen -q -t ed25519 -N '' -f "$farm/key"
cat >"$farm/ssh_config" <<END
StrictHostKeyChecking no
UserKnownHostsFile /dev/null
LogLevel ERROR
IdentityFile $farm/key
ControlMaster auto
ControlPath $farm/control-%p
ControlPersist 60
Host farm1
  HostName 127.0.0.1
  Port 22201
Host farm2
  HostName 127.0.0.1
  Port 22202
Host farm3
  HostName 127.0.0.1
  Port 22203
END
printf '3/farm%s\n' 1 2 3 >"$farm/hosts"
write_inputs
for host in 1 2 3; do start_host "$host"; done

say "one run"
kavrel "${options[@]}" --input-list "$list" --output-dir out >one.txt 2>/dev/null
mv out one

say "nine slots on three hosts"
new_job
run_job
check_same
# Nothing was run where the job lies, and nothing stays on a worker.
if [[ -e job/attempts ]] || compgen -G "$farm/host*/.parallel/tmp/*/results" >/dev/null; then
  echo "a shard was run in the wrong place, or not removed" >&2
  exit 1
fi

say "a host that cannot be reached"
stop_host 3
rm -f "$farm"/control-*
new_job
run_job || true
run_job || true
check_same
start_host 3

say "a host without kavrel"
stop_host 2
rm -f "$farm"/control-*
mkdir -p "$farm/nothing"
start_host 2 "$farm/nothing"
new_job
sed "s|'$build/kavrel-shard'|kavrel-shard|" -i job/parallel
run_job || true
run_job || true
check_same
stop_host 2
rm -f "$farm"/control-*
start_host 2

write_inputs 20
kavrel "${options[@]}" --input-list "$list" --output-dir out >one.txt 2>/dev/null
rm -rf one
mv out one
for signal in TERM KILL; do
  say "parallel ended with $signal, then the same line again"
  new_job
  kavrel-shard todo job >numbers
  parallel --profile ./job/parallel --sshloginfile "$farm/hosts" <numbers &
  sleep 4
  kill "-$signal" $!
  wait $! || true
  check_refused
  run_job
  check_same
done

say "a host killed within its shards"
new_job
kavrel-shard todo job >numbers
parallel --profile ./job/parallel --sshloginfile "$farm/hosts" <numbers &
job=$!
sleep 4
kill_tree "$(<"$farm/host1/pid")"
rm -f "$farm/host1/pid" "$farm"/control-*
wait "$job" || true
start_host 1
run_job
check_same

say "a link cut, the attempt goes on alone"
new_job
kavrel-shard todo job >numbers
parallel --profile ./job/parallel --sshloginfile "$farm/hosts" <numbers &
job=$!
sleep 4
for session in $(pgrep -P "$(<"$farm/host1/pid")"); do kill -KILL "$session"; done
rm -f "$farm"/control-*
wait "$job" || true
run_job
check_same
say "the farm keeps its promises"
