# Makes a C++ source of the page: its HTML with styles and scripts in their places.
# usage: cmake -D SCRIPTS=FILE;... -D FOLDER=DIR -D OUT=FILE -P join.cmake
file(READ ${FOLDER}/page.html page)
file(READ ${FOLDER}/page.css style)
set(script "")
foreach(part IN LISTS SCRIPTS)
    file(READ ${part} text)
    string(APPEND script "${text}")
endforeach()
string(REPLACE "@STYLE@" "${style}" page "${page}")
string(REPLACE "@SCRIPT@" "${script}" page "${page}")
file(WRITE ${OUT}.html "${page}")
file(READ ${OUT}.html hex HEX)
string(REGEX REPLACE "(..)" "0x\\1," bytes "${hex}")
file(WRITE ${OUT} "// The page of the live view, made by join.cmake.
#include <cstddef>
namespace mh {
extern const unsigned char kPageBytes[] = {${bytes}};
extern const std::size_t kPageSize = sizeof kPageBytes;
}
")
