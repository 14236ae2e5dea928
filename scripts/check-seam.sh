#!/usr/bin/env bash
# The seam: code outside kvdutu/platform/ includes no OS header; it goes through the platform layer.
set -euo pipefail
cd "$(dirname "$0")/.."
pattern='#\s*include\s*<(windows\.h|win[a-z0-9]*\.h|objbase\.h|ole2\.h|oleauto\.h|shlobj\.h|shellapi\.h|dbghelp\.h|psapi\.h|mapi\.h|unistd\.h|pthread\.h|signal\.h|dlfcn\.h|sys/[a-z_]+\.h|fcntl\.h|sqlite3\.h|elfutils/[a-z_]+\.h|libunwind\.h|ucontext\.h|semaphore\.h|spawn\.h|sched\.h|dirent\.h|pwd\.h|mntent\.h|execinfo\.h|link\.h|io\.h|direct\.h|process\.h)>'
leaks=$(grep -rnE "$pattern" kvdutu --include='*.h' --include='*.cpp' | grep -v '^kvdutu/platform/' || true)
if [ -n "$leaks" ]; then
  echo "OS headers outside kvdutu/platform/:"; echo "$leaks"; exit 1
fi
echo "seam: no OS header outside kvdutu/platform/"
