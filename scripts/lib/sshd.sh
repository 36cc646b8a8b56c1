# shellcheck shell=bash
# Sourced by the scripts that need an ssh server of their own.

sshd_id=""

# run_sshd FOLDER SECONDS COMMAND: starts an sshd on a free port of this machine alone, which lets in nobody but this
# user, runs COMMAND whatever is asked for, and ends after so many seconds at the latest. Sets `port` and `sshd_id`;
# false when it does not start. The folder gets its files: the user's key id_ed25519, known_hosts, and ssh_config, which
# names both but neither user nor port.
run_sshd() {
  local folder=$1 seconds=$2 command=$3
  ssh-keygen -q -t ed25519 -N '' -C host -f "$folder/host_key"
  ssh-keygen -q -t ed25519 -N '' -C user -f "$folder/id_ed25519"
  # The empty folder that root's sshd insists on; the system's own service makes it when it starts.
  ((EUID)) || install -d -m 755 /run/sshd
  for _ in {1..10}; do
    port=$((20000 + RANDOM % 12000))
    if try_sshd_port "$folder" "$seconds" "$command"; then
      write_ssh_config "$folder"
      return
    fi
  done
  return 1
}

# False when the port is somebody else's.
try_sshd_port() {
  local folder=$1 seconds=$2 command=$3 log line
  cat >"$folder/sshd_config" <<-END
	ListenAddress 127.0.0.1
	Port $port
	HostKey $folder/host_key
	AuthorizedKeysFile $folder/id_ed25519.pub
	AllowUsers $(id -un)
	ForceCommand $command
	MaxStartups 100
	PidFile none
	StrictModes no
	UsePAM no
	PermitUserRC no
	PasswordAuthentication no
	KbdInteractiveAuthentication no
	END
  # Its own time limit ends it even if the script is killed.
  exec {log}< <(exec timeout "$seconds" "$(PATH=$PATH:/usr/sbin command -v sshd)" -D -e -f "$folder/sshd_config" 2>&1)
  sshd_id=$!
  while read -r -t 10 -u "$log" line; do
    if [[ $line == 'Server listening'* ]]; then
      # A pipe that nobody reads would fill up and stop the server.
      cat <&"$log" >"$folder/sshd.log" 2>/dev/null &
      exec {log}<&-
      return 0
    fi
    [[ $line == *'Address already in use'* ]] || printf '    %s\n' "$line"
  done
  stop_sshd
  exec {log}<&-
  return 1
}

write_ssh_config() {
  local folder=$1
  printf '[127.0.0.1]:%s %s\n' "$port" "$(cut -d' ' -f1,2 "$folder/host_key.pub")" >"$folder/known_hosts"
  cat >"$folder/ssh_config" <<-END
	IdentityFile $folder/id_ed25519
	IdentitiesOnly yes
	IdentityAgent none
	BatchMode yes
	UserKnownHostsFile $folder/known_hosts
	END
}

stop_sshd() {
  [[ -n $sshd_id ]] || return 0
  if kill "$sshd_id" 2>/dev/null; then wait "$sshd_id" 2>/dev/null || true; fi
  sshd_id=""
}
