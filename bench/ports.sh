# Sourced by run.sh and measure.sh.
# A port on loopback that nothing answers on.
free_port() {
  local port
  for ((;;)); do
    port=$((20000 + RANDOM % 20000))
    (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null || { echo "$port"; return; }
  done
}
