# Makes OUT, a C++ file with the page of a report, its style and its script, from the folder FROM. The script's modules become
# one: they go behind each other in the order of their use, without import and export.
function(read_text file out)
  file(READ ${file} text)
  string(ASCII 1 semicolon) # lists would lose them
  string(REPLACE ";" "${semicolon}" text "${text}")
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

set(script)
foreach(module volume axes view page)
  read_text(${FROM}/${module}.js text)
  string(ASCII 1 semicolon)
  string(REGEX REPLACE "(^|\n)import [^\n]*" "\\1" text "${text}")
  string(REGEX REPLACE "(^|\n)export " "\\1" text "${text}")
  string(APPEND script "${text}")
endforeach()
read_text(${FROM}/report.html html)
read_text(${FROM}/report.css style)

set(source "#include \"ReportPage.h\"\n\nnamespace tzmchain {\n")
foreach(part Html Style Script)
  string(TOLOWER ${part} variable)
  string(APPEND source "const char kReport${part}[] = R\"tzm(${${variable}})tzm\";\n")
endforeach()
string(APPEND source "} // namespace tzmchain\n")
string(REPLACE "${semicolon}" ";" source "${source}")
file(WRITE ${OUT} "${source}")
