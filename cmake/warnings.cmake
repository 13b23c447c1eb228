# Compile options that every target of the project shares.
add_library(vorel_options INTERFACE)
target_compile_options(vorel_options INTERFACE
  -Wall -Wextra -Wshadow -Wpointer-arith -Wundef
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Wold-style-cast -Wextra-semi>
  -ffp-contract=off
  $<$<BOOL:${VOREL_WERROR}>:-Werror>)
