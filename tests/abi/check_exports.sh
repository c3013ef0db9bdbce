#!/usr/bin/env bash
# Fails when libZeLutEffect.so exports anything beyond the C interface and the
# core classes (everything else must stay hidden), or misses a C function.
#   check_exports.sh <nm> <c++filt> <libZeLutEffect.so>
set -euo pipefail
nm_tool=$1 filt=$2 lib=$3
symbols=$("$nm_tool" -D --defined-only "$lib" | awk '{ $1=""; $2=""; sub(/^  /, ""); print }' | "$filt")
status=0
for f in ZecLut3DLoadTableFromFile ZecLut3DDestroyTable ZecLut3DCreateEffect ZecLut3DDestroyEffect \
         ZecLut3DRenderEffect ZecLut3DSetMessageCallback ZecLut3DLoadTableFromMemory \
         ZecLut3DSetEffectKernel; do
  grep -qx "$f" <<<"$symbols" || { echo "missing export: $f"; status=1; }
done
# Allowed: the C functions, the core classes (members, vtables, typeinfo,
# free operators on them), the byte-array compression functions, the Ze
# namespace and the interface identifiers.
unexpected=$(grep -vE '^(ZecLut3D[A-Za-z]+|IID_IZe[A-Za-z]+|Ze(Compress|Uncompress)\(.*\))$' <<<"$symbols" \
  | grep -vE '^((vtable|typeinfo|typeinfo name|VTT|non-virtual thunk to|virtual thunk to) for )?(C|S)Ze[A-Za-z0-9_]*(::|$|<)' \
  | grep -vE '^(Ze::|operator[^(]*\(.*(C|S)Ze)' \
  | grep -vE '^(_init|_fini|__bss_start|_edata|_end)$' || true)
if [ -n "$unexpected" ]; then
  echo "unexpected exports:"
  echo "$unexpected"
  status=1
fi
[ $status = 0 ] && echo "exports ok: $(wc -l <<<"$symbols") symbols"
exit $status
