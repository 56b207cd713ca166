# What every file of ours is compiled and linked with.
add_library(wirelark_options INTERFACE)
target_compile_options(wirelark_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wold-style-cast -Wcast-qual -Wvla
  $<$<CXX_COMPILER_ID:GNU>:-Wshadow=local>
  $<$<BOOL:${WIRELARK_WERROR}>:-Werror>)

if(WIRELARK_HARDENING)
  target_compile_options(wirelark_options INTERFACE -fstack-protector-strong
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
  target_compile_definitions(wirelark_options INTERFACE _GLIBCXX_ASSERTIONS)
endif()
target_link_options(wirelark_options INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)

# The same bytes whatever folder the tree is built in; a debugger looks for sources from the top of the tree then.
target_compile_options(wirelark_options INTERFACE
  $<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>)

if(WIRELARK_SANITIZE)
  target_compile_options(wirelark_options INTERFACE -fsanitize=${WIRELARK_SANITIZE} -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  target_link_options(wirelark_options INTERFACE -fsanitize=${WIRELARK_SANITIZE})
endif()
