#!/usr/bin/env bash
# Panels started by hand: an unknown theme key gives the page's own default look, a title alone gives a
# centred window of that title; and a panel in each built-in theme, for the eye.
source "$(dirname "$0")/lib.sh"
data="$XDG_DATA_HOME/Quorvane"
mkdir -p "$data"
chmod 700 "$data"
shot="$QVN_ARTIFACTS/screen.png"

printf 'nosuchtheme' > "$data/theme.txt"
"$QVN_BIN" --child 'Spammer|panel-spammer|300|300|nosuchtheme' & lone=$!
"$QVN_BIN" --child 'Solo' & solo=$!
check "the hand-started panel appears" wait_for 30 has_panel
check "the one-field panel appears with its title" wait_for 30 eval 'xdotool search --onlyvisible --name "^Quorvane - Solo$" >/dev/null'
geometry "$(xdotool search --onlyvisible --name '^Quorvane - Solo$' | head -n1)"
check "and centred on the screen (corner at $X,$Y)" test $((X - 415)) -le 2 -a $((415 - X)) -le 2 -a $((Y - 312)) -le 2 -a $((312 - Y)) -le 2
geometry "$(panels | head -n1)"
shoot_painted "$shot" "$(panels | head -n1)" 20 40
wait_for 20 screen_shows $((X + 4)) $((Y + 200)) 22,29,45
check "an unknown theme key shows the default look (got $(pixel_at $((X + 4)) $((Y + 200))))" near "$(pixel_at $((X + 4)) $((Y + 200)))" 22,29,45
kill -TERM "$lone" "$solo"
wait_exit "$lone" 10; check "SIGTERM ends a panel cleanly (got $rc)" test "$rc" = 0
wait_exit "$solo" 10

# A popped-out panel in each built-in theme, for the eye.
for theme in quorvane:22,29,45 daylight:255,255,255 graphite:28,28,30; do
  colour=${theme#*:}; theme=${theme%%:*}
  printf '%s' "$theme" > "$data/theme.txt"
  "$QVN_BIN" --child "Spammer|panel-spammer|400|300|$theme" & one=$!
  wait_for 30 has_panel
  panel=$(panels | head -n1)
  geometry "$panel"
  shoot_painted "$shot" "$panel" 20 40
  wait_for 20 screen_shows $((X + 4)) $((Y + 200)) "$colour"
  check "a panel in $theme paints in it (got $(pixel_at $((X + 4)) $((Y + 200))))" near "$(pixel_at $((X + 4)) $((Y + 200)))" "$colour"
  import -window "$panel" "$QVN_ARTIFACTS/panel-$theme.png"
  kill -TERM "$one"; wait_exit "$one" 10
  wait_for 5 no_panel
done
finish
