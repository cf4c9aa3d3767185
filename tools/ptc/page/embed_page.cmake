# Makes a C++ file of the web page: run by the build as
#   cmake -D page=PAGE.html -D styles=A.css;... -D scripts=A.js;... -D made=OUT.cpp -P embed_page.cmake
#
# The lines `<!-- style -->` and `<!-- script -->` of the page become one <style> and one <script>
# with the contents of the files in the order given; at the line `<!-- clouds -->` the text is cut in
# two. The bytes become numbers, because compilers limit the length of string literals. All texts
# are handled as hexadecimal digits: CMake's own texts know no zero byte and change at ";" and "[".
cmake_minimum_required(VERSION 3.25)

# The digits of `text`.
function(to_hex text result)
  string(HEX "${text}" digits)
  set(${result} ${digits} PARENT_SCOPE)
endfunction()

# Replaces the marker `name` of the page by the files within <`tag`>; none leave nothing.
function(put_files name tag files)
  to_hex("<!-- ${name} -->" marker)
  string(REPLACE "${marker}" "|" cut "${digits}")
  string(REGEX MATCHALL "[|]" markers "${cut}")
  list(LENGTH markers count)
  if(NOT count EQUAL 1)
    message(FATAL_ERROR "${page} needs one line <!-- ${name} -->, but has ${count}")
  endif()
  to_hex("</${tag}" forbidden)
  set(inner)
  foreach(file IN LISTS files)
    file(READ "${file}" content HEX)
    if(content MATCHES "${forbidden}")
      message(FATAL_ERROR "${file} has </${tag} in it, which ends the element")
    endif()
    string(APPEND inner ${content})
  endforeach()
  if(inner)
    to_hex("<${tag}>\n" begin)
    to_hex("</${tag}>" end)
    set(inner ${begin}${inner}${end})
  endif()
  string(REPLACE "|" "${inner}" digits "${cut}")
  set(digits ${digits} PARENT_SCOPE)
endfunction()

# A view `name` of an array with the bytes, 16 to a line.
function(add_array name digits)
  string(REGEX REPLACE "(................................)" "\\1\n" lines "${digits}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${lines}")
  string(APPEND source
    "constexpr char k${name}Bytes[] = {\n${bytes}0};\n"
    "const std::string_view k${name}(k${name}Bytes, sizeof k${name}Bytes - 1);\n\n")
  set(source "${source}" PARENT_SCOPE)
endfunction()

file(READ "${page}" digits HEX)
put_files(style style "${styles}")
put_files(script script "${scripts}")

to_hex("<!-- clouds -->\n" marker)
string(FIND "${digits}" "${marker}" at)
if(at EQUAL -1)
  message(FATAL_ERROR "${page} needs a line <!-- clouds -->")
endif()
string(LENGTH "${marker}" length)
math(EXPR behind "${at} + ${length}")
string(SUBSTRING "${digits}" 0 ${at} head)
string(SUBSTRING "${digits}" ${behind} -1 tail)

set(source "// The page as bytes, made by the build from tools/ptc/page/web.\n\n")
string(APPEND source "#include \"tools/ptc/page/page_text.h\"\n\nnamespace page {\n\n")
add_array(TextBefore "${head}")
add_array(TextBehind "${tail}")
string(APPEND source "}  // namespace page\n")
file(WRITE "${made}" "${source}")
