# Bash reads this file before the script of a run. It records the exit status of the run's program, which the
# script itself doesn't look at: the status of the last command before the script's closing echo. Nothing of it
# reaches the program.
unset BASH_ENV
trap 'trelkind_status=$?
[[ $BASH_COMMAND != echo*"> VTask_runCompleted" ]] || echo "$trelkind_status" > VTask_exitStatus' DEBUG
