#!/usr/bin/env bash
# Runs jobs of kavrel-shard on three hosts of their own on this machine, each an sshd with a home, with
# nine slots. Whatever is done to hosts, links, disks and files, what is merged has the bytes of one
# run, or nothing is merged.
#   tests/farm/hosts.sh [quick | FUNCTION...]     quick: one host and one fault; or some of those below
#   tests/farm/hosts.sh measure_slots             how much of their time 1, 3, 6 and 9 slots work
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
PATH="$PATH:/usr/sbin" tools/need.sh parallel:parallel rsync:rsync sshd:openssh-server
source tests/farm/farm.sh
hosts=(1 2 3)
port="${FARM_PORT:-22200}" # that of host N is N higher
[[ "${1:-}" != quick ]] || hosts=(1)
trap stop_farm EXIT

stop_farm() {
  local host place
  for host in "${hosts[@]}"; do stop_host "$host"; done
  for place in "$farm"/full*; do umount --lazy "$place" 2>/dev/null || true; done
  rm -rf "$farm"
}

# Ends its sshd. What this has started goes on, but for parallel's shared connection.
stop_host() {
  [[ ! -e "$farm/host$1/pid" ]] || kill "$(<"$farm/host$1/pid")" 2>/dev/null || true
  rm -f "$farm/host$1/pid" "$farm"/control-*
}

# A host of this number: commands start in its home, find programs in a folder of their own before
# build/, and load a scripted runtime.
start_host() {
  local home="$farm/host$1"
  mkdir -p "$home"
  cat >"$home/sshd_config" <<END
Port $((port + $1))
ListenAddress 127.0.0.1
HostKey $farm/key
AuthorizedKeysFile $farm/key.pub
StrictModes no
UsePAM no
PermitRootLogin yes
PidFile $home/pid
MaxSessions 50
SetEnv HOME=$home LD_LIBRARY_PATH=${3:-$LD_LIBRARY_PATH} PATH=${2:-$build}:/usr/bin:/bin
ForceCommand cd $home && eval "\$SSH_ORIGINAL_COMMAND"
END
  "$(command -v sshd)" -f "$home/sshd_config"
  wait_for 10 test -s "$home/pid"
}

restart_host() {
  stop_host "$1"
  start_host "$@"
}

# A program of this name, a script from standard input, on host 2 before all others.
on_host_2() {
  mkdir -p "$farm/other"
  { echo '#!/bin/sh' && cat; } >"$farm/other/kavrel-shard"
  chmod +x "$farm/other/kavrel-shard"
  restart_host 2 "$farm/other"
}

write_ssh_files() {
  local host
  [[ $EUID != 0 ]] || mkdir -p /run/sshd
  ssh-keygen -q -t ed25519 -N '' -f "$farm/key"
  {
    printf '%s\n' 'StrictHostKeyChecking no' 'UserKnownHostsFile /dev/null' 'LogLevel ERROR' \
      "IdentityFile $farm/key" 'ControlMaster auto' "ControlPath $farm/control-%p" 'ControlPersist 60'
    for host in "${hosts[@]}"; do
      printf 'Host farm%s\n  HostName 127.0.0.1\n  Port %s\n' "$host" $((port + host))
      echo "3/farm$host" >>"$farm/hosts"
    done
  } >"$farm/ssh_config"
  export PARALLEL_SSH="ssh -F $farm/ssh_config"
}

# The line that starts a job, and starts it again after whatever happened.
run_job() {
  kavrel-shard todo job | parallel --profile ./job/parallel --sshloginfile "$farm/hosts" "$@"
}

# The same, not waited for, until each slot of every host has an attempt under way.
start_job() {
  kavrel-shard todo job >numbers
  parallel --profile ./job/parallel --sshloginfile "$farm/hosts" <numbers &
  job=$!
  wait_for 60 attempts $((3 * ${#hosts[@]}))
}

attempts() {
  (("$(find "$farm"/host*/.parallel/tmp/*/attempts -mindepth 1 -maxdepth 1 | wc -l)" >= $1))
}

# Nothing was run where the job lies, and nothing stays on a worker.
check_places() {
  if [[ -e job/attempts ]] || compgen -G "$farm/host*/.parallel/tmp/*/results" >/dev/null; then
    give_up "a shard was run in the wrong place, or not removed"
  fi
}

many_slots() {
  say "${#hosts[@]} hosts, three slots each"
  new_job
  run_job
  check_same
  check_places
}

unreachable_host() {
  say "a host that cannot be reached"
  stop_host 3
  new_job
  run_job || true
  run_job || true
  check_same
  start_host 3
}

host_without_kavrel() {
  say "a host without kavrel"
  mkdir -p "$farm/nothing"
  restart_host 2 "$farm/nothing"
  new_job
  run_job || true
  run_job || true
  check_same
  restart_host 2
}

exchanged_network() {
  say "a network exchanged on one host: its shards are run by the others"
  on_host_2 <<END
echo '# another' >>common/ppocr-rec-model
exec $build/kavrel-shard "\$@" 2>>~/said
END
  new_job
  run_job || true
  grep -q "not the file that was planned: ./common/ppocr-rec-model" "$farm/host2/said"
  check_same
  restart_host 2
}

exchanged_runtime() {
  say "another librknnrt.so on one host: its shards are not merged"
  cp -r "$build/scripted_runtime" "$farm/runtime"
  echo >>"$farm/runtime/librknnrt.so"
  restart_host 2 "$build" "$farm/runtime"
  new_job
  run_job
  check_refused "was run with another librknnrt.so than shard"
  restart_host 2
  # The rare one is removed, by its hash.
  local other
  other="$(sha256sum <"$farm/runtime/librknnrt.so" | cut -d ' ' -f 1)"
  grep -l "$other" job/results/*/shard.json | xargs dirname | xargs rm -r
  run_job
  check_same
}

slow_host() {
  say "a slow host, with --timeout"
  on_host_2 <<END
echo >>~/slept
sleep 600
END
  new_job
  run_job --timeout 30 2>/dev/null || true
  [[ -s "$farm/host2/slept" ]] || give_up "the slow host got nothing"
  check_same
  restart_host 2
}

broken_picture() {
  say "a picture that cannot be read, and one that is not there"
  local broken="samples/rendered/car02_f01.jpg" missing="samples/rendered/car05_f01.jpg"
  mv samples samples.whole
  cp -r samples.whole samples
  head -c 99 "samples.whole/${broken#samples/}" >"$broken"
  rm "$missing"
  grep -v ',car0[25]$' "$list" >others.csv
  run_once others.csv
  new_job
  run_job 2>"$farm/run.log" || true
  check_refused "the first failing picture in the list is $broken: "
  local status=0
  kavrel-shard merge job --output-dir out --without-failed >merged.txt 2>"$farm/merge.log" || status=$?
  ((status == 4)) || give_up "merged with status $status: $(<"$farm/merge.log")"
  check_output
  rm -rf samples
  mv samples.whole samples
  run_once
  run_job
  check_same
}

# So many KB of memory as a disk.
mount_disk() {
  mkdir -p "$1"
  mount -t tmpfs -o "size=$2k" tmpfs "$1"
}

# Leaves this folder's disk so little room that results do not fit.
fill_disk() { dd if=/dev/zero of=filler bs=1k count="$(($(df -k --output=avail . | tail -1) - ${1:-0}))" 2>/dev/null; }

full_worker() {
  say "the disk full on a worker"
  mount_disk "$farm/full1" 600
  rm -rf "$farm/host2/.parallel" "$farm/host2/said"
  ln -s "$farm/full1" "$farm/host2/.parallel"
  on_host_2 <<END
exec $build/kavrel-shard "\$@" 2>>~/said
END
  new_job
  run_job || true
  grep -E "is the disk full|No space left" "$farm/host2/said" | head -1
  check_same
  rm "$farm/host2/.parallel"
  umount "$farm/full1"
  restart_host 2
}

full_controller() {
  say "the disk full on the controller, while results come and at the merge"
  mount_disk "$farm/full2" 200000
  mkdir "$farm/full2/work"
  ln -s "$farm/work/"{models,samples,one,one.txt,dictionary.txt,words.txt} "$farm/full2/work"
  (
    cd "$farm/full2/work"
    new_job
    fill_disk 300
    run_job 2>"$farm/run.log" || true
    grep -q "No space left" "$farm/run.log" || give_up "the disk was not full: $(<"$farm/run.log")"
    check_refused "is not done\|is spoiled"
    rm filler
    run_job
    fill_disk
    check_refused "failed to write\|No space left"
    rm filler
    check_same
  )
  umount --lazy "$farm/full2"
}

ended_parallel() {
  local signal
  for signal in TERM KILL; do
    say "parallel ended with $signal, then the same line again"
    new_job
    start_job
    kill "-$signal" "$job"
    wait "$job" || true
    check_refused "is not done"
    run_job
    check_same
  done
}

killed_host() {
  say "a host killed within its shards"
  new_job
  start_job
  kill_tree "$(<"$farm/host1/pid")"
  stop_host 1
  wait "$job" || true
  start_host 1
  run_job
  check_same
}

cut_link() {
  say "a link cut, the attempt goes on alone"
  new_job
  start_job
  local session
  for session in $(pgrep -P "$(<"$farm/host1/pid")"); do kill -KILL "$session"; done
  rm -f "$farm"/control-*
  wait "$job" || true
  run_job
  check_same
}

two_merges() {
  say "two merges at once"
  new_job
  run_job
  local first=0 second=0
  kavrel-shard merge job --output-dir out >merged.txt 2>/dev/null &
  kavrel-shard merge job --output-dir out >merged2.txt 2>/dev/null || second=$?
  wait $! || first=$?
  ((first + second == 1)) || give_up "two merges ended with $first and $second"
  cat merged2.txt >>merged.txt
  check_output
}

# A case for which the networks take 3 s and kavrel's own work next to nothing: what is measured is
# the farm and not this machine's cores. A shard has so many cases.
write_slow_inputs() {
  local cases="$1" shards="$2" row
  printf 'name corner\ninput image 1,128,256,3\noutput corners 1,8\nsleep * 3000\n%s\n' \
    'answer * 0 floats 0 0 1 0 1 1 0 1' >models/corner
  printf 'name reader\ninput image 1,48,320,3\noutput steps 1,16,8\n%s\n' \
    'answer * 0 steps 8 1 2 6 7 0 7 3 4 5 4 5' >models/reader
  mkdir -p pictures
  echo image_path,expected,group_id >slow.csv
  for ((row = 0; row < cases * shards; ++row)); do
    ln -f samples/rendered/car01_f01.jpg "pictures/$row.jpg"
    echo "pictures/$row.jpg,,$row" >>slow.csv
  done
}

# Two shards for each slot. The work of a shard is the time that its networks take.
measure_slots() {
  local seconds="${SHARD_SECONDS:-60}" slots shards
  TIMEFORMAT='%R %U %S'
  for slots in 1 3 6 9; do
    shards=$((2 * slots))
    write_slow_inputs "$((seconds / 3))" "$shards"
    rm -rf job out
    kavrel-shard plan --input-list slow.csv --shards "$shards" job -- "${options[@]}" >/dev/null
    sed -i '/^--bar$/d' job/parallel
    printf '%s/farm%s\n' "$((slots < 3 ? slots : 3))" 1 3 2 3 3 | head -$(((slots + 2) / 3)) >slots.txt
    kavrel-shard todo job >numbers
    { time parallel --profile ./job/parallel --sshloginfile slots.txt <numbers; } 2>times.txt
    [[ -z "$(kavrel-shard todo job)" ]] || give_up "shards are left to do"
    tail -1 times.txt | awk -v slots="$slots" -v shards="$shards" -v seconds="$seconds" '{
      printf "%d slots, %d shards of %d s: %.1f s, efficiency %.3f, CPU of the controller %.2f s per shard",
        slots, shards, seconds, $1, 2 * seconds / $1, ($2 + $3) / shards }'
    echo ", load $(cut -d ' ' -f 1 /proc/loadavg)"
  done
}

write_ssh_files
write_inputs
for host in "${hosts[@]}"; do start_host "$host"; done
run_once
if (($# > 0)) && [[ "$1" != quick ]]; then
  for function in "$@"; do "$function"; done
  exit
fi
many_slots
if (($# > 0)); then
  write_inputs 20
  run_once
  killed_host
  exit
fi
unreachable_host
host_without_kavrel
exchanged_network
exchanged_runtime
slow_host
broken_picture
two_merges
if ((EUID == 0)); then
  full_worker
  full_controller
else
  say "left out, as only root mounts: a disk full on a worker and on the controller"
fi
# Slower, so that what is done to them meets shards that run.
write_inputs 20
run_once
ended_parallel
killed_host
cut_link
say "the farm keeps its promises"
