#!/usr/bin/env bash
# Kills `tovra measure` with SIGKILL at random moments, many times over, against the fake store, and
# checks the store after every kill: SQLite's integrity check passes, every run is whole or absent (as
# many outcomes as it planned queries), no reading has rank 0, a failed or skipped outcome carries no
# reading, every reading belongs to a measured outcome, and the keyword the store always refuses has
# no reading at all (a failure is never kept as "outside the results"). Tovra must then open the store
# without moving it aside. Not part of the test run: it takes about ten minutes. Run it niced:
#
#   nice -n 19 bench/crash_matrix.sh [BUILD_DIR] [KILLS]
#
# Half of the kills land anywhere in a run (starting, waiting for a slot, between requests, writing);
# the other half just after the run's last answer, when the finishing step writes. Exit status 1 when
# any check failed.

set -euo pipefail

build=${1:-build/dev}
kills=${2:-200}
tovra=$(realpath "$build/app/cli/tovra")
fakestore=$(realpath "$build/tools/fakestore/tovra-fakestore")
for program in "$tovra" "$fakestore" /usr/bin/sqlite3; do
  [[ -x $program ]] || { echo "crash matrix: $program is missing" >&2; exit 2; }
done

work=$(mktemp -d "${TMPDIR:-/tmp}/tovra-crash-XXXXXX")
store_pid=
cleanup() {
  [[ -n $store_pid ]] && kill "$store_pid" 2>/dev/null && wait "$store_pid" 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT

app=3000000001
cat >"$work/scenario.json" <<EOF
{"apps": {"$app": {"name": "Photo Lab"}, "3000000002": {"name": "Snap Studio"}},
 "search": {"us": {"photo editor": ["3000000002", "999", "$app"],
                   "collage maker": {"ids": ["998"], "padTo": 40},
                   "slow keyword": ["$app"]}},
 "faults": [{"path": "search", "term": "refused keyword", "status": 404},
            {"path": "search", "term": "slow keyword", "delayMs": 400}]}
EOF
# The slow keyword comes first, so the run's last answer follows its log line at once.
keywords=("slow keyword" "photo editor" "refused keyword" "collage maker")
requests_per_run=${#keywords[@]}

"$fakestore" --scenario "$work/scenario.json" --port-file "$work/port" --log "$work/requests.log" \
  >"$work/fakestore.out" 2>&1 &
store_pid=$!
for _ in $(seq 100); do [[ -s $work/port ]] && break; sleep 0.05; done
[[ -s $work/port ]] || { echo "crash matrix: the fake store did not start" >&2; cat "$work/fakestore.out" >&2; exit 2; }
url="http://127.0.0.1:$(cat "$work/port")"

mkdir -p "$work/data" "$work/state" "$work/home"
export HOME="$work/home" LANG=C.UTF-8 TZ=UTC TOVRA_SEARCH_URL="$url" TOVRA_LOOKUP_URL="$url" \
  TOVRA_DATA_DIR="$work/data" TOVRA_STATE_DIR="$work/state" XDG_DATA_HOME="$work/home/data" \
  XDG_STATE_HOME="$work/home/state" XDG_CONFIG_HOME="$work/home/config"
"$tovra" app add "$app" --country us >/dev/null
"$tovra" keywords add "$app" --country us "${keywords[@]}" >/dev/null

facts_sql="SELECT
  (SELECT group_concat(integrity_check) FROM pragma_integrity_check),
  (SELECT count(*) FROM MeasurementRun),
  (SELECT count(*) FROM MeasurementRun r WHERE r.queryCount <> (SELECT count(*) FROM RunOutcome o WHERE o.run = r.pk)),
  (SELECT count(*) FROM StoredObservation WHERE rank IS NOT NULL AND rank < 1),
  (SELECT count(*) FROM RunOutcome WHERE statusRaw <> 'measured' AND observation IS NOT NULL),
  (SELECT count(*) FROM RunOutcome WHERE statusRaw = 'measured' AND observation IS NULL),
  (SELECT count(*) FROM StoredObservation s WHERE NOT EXISTS
     (SELECT 1 FROM RunOutcome o WHERE o.observation = s.pk AND o.statusRaw = 'measured')),
  (SELECT count(*) FROM StoredObservation s JOIN TrackedQuery q ON q.pk = s.query WHERE q.keyword = 'refused keyword'),
  (SELECT count(*) FROM RunOutcome WHERE statusRaw = 'failed')"
checks=(integrity runs partial rankZero failedWithReading measuredWithoutReading orphanReadings refusedWithReading)

lines() { if [[ -f $work/requests.log ]]; then wc -l <"$work/requests.log"; else echo 0; fi; }
millis() { printf '%d.%03d' $(($1 / 1000)) $(($1 % 1000)); }

failures=0 killed=0 finished=0 before_first_open=0
started=$(date +%s)
for ((i = 1; i <= kills; i++)); do
  before=$(lines)
  "$tovra" measure >/dev/null 2>&1 &
  pid=$!
  if ((i % 2 == 1)); then
    sleep "$(millis $((RANDOM % 7000)))"
  else
    deadline=$((SECONDS + 20))
    while (($(lines) < before + requests_per_run)) && ((SECONDS < deadline)) && kill -0 "$pid" 2>/dev/null; do
      sleep 0.002
    done
    sleep "$(millis $((RANDOM % 40)))"
  fi
  kill -9 "$pid" 2>/dev/null || true
  status=0
  { wait "$pid" || status=$?; } 2>/dev/null
  if ((status == 137)); then killed=$((killed + 1)); else finished=$((finished + 1)); fi

  if [[ ! -f $work/data/default.store ]]; then
    before_first_open=$((before_first_open + 1))
    continue
  fi
  IFS='|' read -r -a facts < <(sqlite3 "$work/data/default.store" "$facts_sql")
  expected=(ok "${facts[1]}" 0 0 0 0 0 0)
  for c in "${!checks[@]}"; do
    if [[ ${facts[$c]} != "${expected[$c]}" ]]; then
      echo "kill $i: ${checks[$c]} is ${facts[$c]}" >&2
      failures=$((failures + 1))
    fi
  done
  if ! "$tovra" --json today >/dev/null 2>"$work/today.err" || [[ -s $work/today.err ]] || [[ -d $work/data/Backups ]]; then
    echo "kill $i: Tovra did not open the store cleanly afterwards: $(cat "$work/today.err")" >&2
    failures=$((failures + 1))
  fi
done
elapsed=$(($(date +%s) - started))

IFS='|' read -r -a facts < <(sqlite3 "$work/data/default.store" "$facts_sql")
echo "crash matrix: $kills runs in $elapsed s; $killed killed by SIGKILL, $finished finished before the kill"
echo "  store after the last kill: ${facts[1]} runs kept whole, ${facts[8]} failed outcomes, $(lines) requests served"
echo "  checks failed: $failures"
((failures == 0))
