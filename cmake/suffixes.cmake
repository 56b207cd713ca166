# Turns data/icann_suffixes.txt into a table that is compiled in: one line a suffix, in the order of the file.
set(suffix_list ${PROJECT_SOURCE_DIR}/data/icann_suffixes.txt)
set(suffix_table ${PROJECT_BINARY_DIR}/generated/suffixes.cpp)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${suffix_list})

file(READ ${suffix_list} suffix_lines)
string(REGEX REPLACE "([^\n]+)\n" "    \"\\1\",\n" suffix_lines "${suffix_lines}")
file(CONFIGURE OUTPUT ${suffix_table} @ONLY CONTENT
"// Made of data/icann_suffixes.txt by cmake/suffixes.cmake.
#include \"net/dns/domain/psl.h\"

namespace ns::net::dns {

static constexpr std::string_view Suffixes[] = {
@suffix_lines@};

constinit const DomainSuffixes psl(Suffixes);

}  // namespace ns::net::dns
")
unset(suffix_lines)
