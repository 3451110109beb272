#!/usr/bin/env bash
# Runs jobs of kavrel-shard as job arrays of Slurm: a controller and three nodes on this machine, nine
# slots. A node that dies, a task that is put back and one that is cancelled end in the bytes of one
# run. Needs root: that is who slurmd runs as.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
((EUID == 0)) || { echo "slurm.sh: slurmd wants to be started by root" >&2 && exit 1; }
PATH="$PATH:/usr/sbin" tools/need.sh slurmctld:slurmctld slurmd:slurmd sbatch:slurm-client munged:munge
source tests/farm/farm.sh
trap stop_cluster EXIT

daemon() { [[ ! -e "$farm/$1.pid" ]] || kill "${2:--TERM}" "$(<"$farm/$1.pid")" 2>/dev/null || true; }

stop_cluster() {
  local name
  scancel --user root 2>/dev/null || true
  for name in n1 n2 n3 slurmctld munged; do daemon "$name"; done
  until rm -rf "$farm" 2>/dev/null; do sleep 0.5; done # the last one still writes
}

write_configuration() {
  local host
  host="$(hostname -s)"
  cat >"$farm/slurm.conf" <<END
ClusterName=farm
SlurmctldHost=$host(127.0.0.1)
SlurmctldPort=26817
SlurmUser=root
AuthInfo=socket=$farm/munge/socket
SlurmctldPidFile=$farm/slurmctld.pid
SlurmctldLogFile=$farm/slurmctld.log
StateSaveLocation=$farm/state
SlurmdPidFile=$farm/%n.pid
SlurmdLogFile=$farm/%n.log
SlurmdSpoolDir=$farm/%n
SlurmdTimeout=10
KillWait=3
ReturnToService=2
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
SlurmdParameters=config_overrides
SchedulerParameters=batch_sched_delay=1,sched_interval=2
NodeName=n[1-3] NodeHostname=$host NodeAddr=127.0.0.1 Port=[26821-26823] CPUs=3
PartitionName=farm Nodes=n[1-3] Default=YES MaxTime=INFINITE State=UP
END
  export SLURM_CONF="$farm/slurm.conf"
}

start_cluster() {
  chmod 755 "$farm"
  mkdir -p "$farm/munge" "$farm/state" "$farm"/n{1,2,3}
  chmod 755 "$farm/munge"
  (umask 077 && head -c 128 /dev/urandom >"$farm/munge.key")
  munged --force --key-file="$farm/munge.key" --socket="$farm/munge/socket" \
    --pid-file="$farm/munged.pid" --log-file="$farm/munged.log" --seed-file="$farm/munge.seed"
  write_configuration
  slurmctld
  local node
  for node in n1 n2 n3; do slurmd -N "$node"; done
  wait_for 30 all_idle
}

all_idle() { [[ "$(sinfo --noheader --format '%D %t')" == "3 idle" ]]; }

# The line that starts a job, and starts it again after whatever happened. Prints the job's number.
submit() { sbatch --parsable --array="$(kavrel-shard todo --array job)" job/shard.sbatch; }

# Also starts at once what was put back, which Slurm would let wait for two minutes.
nothing_queued() {
  local task
  for task in $(squeue --noheader --states PENDING --array --format %A); do
    scontrol update jobid="$task" StartTime=now || true
  done
  [[ -z "$(squeue --noheader)" ]]
}

# At least so many tasks have an attempt under way.
attempts() { (("$(find job/attempts -mindepth 1 -maxdepth 1 2>/dev/null | wc -l)" >= $1)); }

on_node() { squeue --noheader --nodelist "$1" --states RUNNING --array --format '%i' | head -1; }

start_cluster
write_inputs
run_once

say "an array on three nodes"
new_job
submit >/dev/null
wait_for 120 nothing_queued
check_same

write_inputs 20
run_once

say "a task put back, and one cancelled: the same line runs what is left"
new_job
submit >/dev/null
wait_for 60 attempts 9
scontrol requeue "$(on_node n2)"
scancel "$(on_node n3)"
wait_for 120 nothing_queued
check_refused "is not done"
[[ "$(kavrel-shard todo job | wc -l)" == 1 ]] || give_up "not one shard is left to do"
submit >/dev/null
wait_for 120 nothing_queued
check_same

say "a node killed within its shards: Slurm gives them to another"
new_job
submit >/dev/null
wait_for 60 attempts 9
tasks="$(squeue --noheader --nodelist n1 --states RUNNING --array --format %A)"
[[ "$(wc -w <<<"$tasks")" == 3 ]] || give_up "the node does not run three shards"
daemon n1 -KILL
rm -f "$farm/n1.pid"
for task in $tasks; do kill_tree "$(pgrep -f "^slurmstepd: \[$task\.batch\]")"; done
wait_for 180 nothing_queued
check_same
slurmd -N n1
wait_for 60 all_idle
say "Slurm's arrays are merged into one run"
