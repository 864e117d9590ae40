# Prints each function that is longer than a screen, from the first line of its signature on.
# What is laid out by clang-format begins at the left edge, or in a class two columns from it; the
# lines of a signature that goes on are further in.
BEGIN { most = 70 }
function scope(line) { return line ~ /^ *(namespace|class|struct|enum|union|extern|public|private|protected)([ :{]|$)/ }
function begin(edge) {
  if ($0 !~ /[;:}]$/) first[edge] = scope($0) ? 0 : FNR
  else first[edge] = 0
  open[edge] = 0
}
function body(edge) { if (first[edge] && $0 ~ /\{$/) open[edge] = 1 }
function end(edge) {
  if (open[edge] && FNR - first[edge] + 1 > most)
    print FILENAME ":" first[edge] ": a function of " FNR - first[edge] + 1 " lines; " most " are enough"
  first[edge] = open[edge] = 0
}
FNR == 1 { first[0] = open[0] = first[2] = open[2] = 0 }
/^ *(\/\/|#)/ { next }
{ sub(/ +\/\/ [^"]*$/, "") }  # a remark behind the code
/^}/ { end(0); next }
/^  }/ { end(2) }
!open[0] && /^[A-Za-z~\[]/ { begin(0) }
!open[0] && !first[0] && !open[2] && /^  [A-Za-z~\[]/ { begin(2) }
{ if (!open[0]) body(0); if (!open[0] && !open[2]) body(2) }
