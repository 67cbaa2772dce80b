# cmake -D PAGE=tables.html -D OUT=file.cpp -P embed.cmake: the page as C++ source. The style and the script that the page
# names are put in their place, and it is cut where the data goes.

get_filename_component(FOLDER ${PAGE} DIRECTORY)
file(READ ${PAGE} TEXT)

# replace(MARK TEXT): in place of a mark that must be in the page once.
function(replace MARK WITH)
  string(FIND "${TEXT}" "${MARK}" FIRST)
  string(FIND "${TEXT}" "${MARK}" LAST REVERSE)
  if(FIRST EQUAL -1 OR NOT FIRST EQUAL LAST)
    message(FATAL_ERROR "${PAGE} must have once: ${MARK}")
  endif()
  string(REPLACE "${MARK}" "${WITH}" TEXT "${TEXT}")
  set(TEXT "${TEXT}" PARENT_SCOPE)
endfunction()

file(READ ${FOLDER}/tables.css STYLE)
file(READ ${FOLDER}/tables.js SCRIPT)
replace("<link rel=\"stylesheet\" href=\"tables.css\">" "<style>\n${STYLE}</style>")
replace("<script src=\"tables.js\"></script>" "<script>\n${SCRIPT}</script>")
string(FIND "${TEXT}" ")page\"" INSIDE)
if(NOT INSIDE EQUAL -1)
  message(FATAL_ERROR "${PAGE} has the end of a raw string in it")
endif()
set(DATA "<script id=\"data\" type=\"application/json\">")
replace("${DATA}[]" "${DATA})page\";
std::string_view const afterData = R\"page(")

file(WRITE ${OUT} "#include \"page/Embedded.h\"

namespace page::embedded {

std::string_view const beforeData = R\"page(${TEXT})page\";

} // namespace page::embedded
")
