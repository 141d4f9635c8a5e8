#!/usr/bin/env bash
# Dependencies run one way: a file may include the project's headers only from its own folder or a lower
# one. The order, lowest first, is the one in the README's map; <folder>/linux/ (and mac/) take their
# folder's place. Takes the tree to check (default: this repository).
set -u
root=${1:-$(cd "$(dirname "$0")/.." && pwd)}
cd "$root" || exit 2

order=(core platform persist input themes macro timeline engine update bridge app)
rank() {
    local i
    for i in "${!order[@]}"; do
        [ "${order[$i]}" = "$1" ] && { echo "$i"; return; }
    done
    echo -1
}

bad=0
for folder in "${order[@]}"; do
    [ -d "$folder" ] || continue
    own=$(rank "$folder")
    while IFS= read -r hit; do
        [ -n "$hit" ] || continue
        file=${hit%%:*}
        rest=${hit#*:}
        line=${rest%%:*}
        target=$(sed -E 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*"([^"/]+)\/.*/\1/' <<<"${rest#*:}")
        other=$(rank "$target")
        if [ "$other" -lt 0 ] || [ "$other" -gt "$own" ]; then
            echo "$file:$line includes from $target/, which is not below $folder/"
            bad=1
        fi
    done < <(find "$folder" -type f \( -name '*.cpp' -o -name '*.h' -o -name '*.mm' \) -print0 |
             xargs -0 -r grep -n -H -E '^[[:space:]]*#[[:space:]]*include[[:space:]]*"[^"]+/')
done
if [ "$bad" -ne 0 ]; then
    echo "order, lowest first: ${order[*]}"
    exit 1
fi
echo "every include runs downward (${order[*]})"
