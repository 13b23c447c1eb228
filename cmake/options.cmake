# Compile options that every target of the project shares: vorel_options.
add_library(vorel_options INTERFACE)
target_compile_options(vorel_options INTERFACE
  -Wall -Wextra -Wshadow -Wpointer-arith -Wundef
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Wold-style-cast -Wextra-semi>
  -ffp-contract=off
  $<$<BOOL:${VOREL_WERROR}>:-Werror>)

# The tests take longer to optimise than that saves: their templates are GoogleTest's, and the time goes by in the
# library and in a few models. Targets with the property VOREL_COMPUTES_LITTLE have not even those.
add_library(vorel_test_options INTERFACE)
target_link_libraries(vorel_test_options INTERFACE vorel_options)
target_compile_options(vorel_test_options INTERFACE
  $<IF:$<BOOL:$<TARGET_PROPERTY:VOREL_COMPUTES_LITTLE>>,-O0,-O1> $<$<CONFIG:RelWithDebInfo>:-g1>)

# So does the program, with the templates of the argument parser and of JSON, where it only serves tests.
add_library(vorel_tool_options INTERFACE)
target_link_libraries(vorel_tool_options INTERFACE vorel_options)
target_compile_options(vorel_tool_options INTERFACE
  $<$<BOOL:${VOREL_QUICK_TOOL}>:-O0> $<$<CONFIG:RelWithDebInfo>:-g1>)
