# The Windows x64 tree (make windows, with cmake/mingw-w64-x86_64.cmake):
# Ortavel.8bf, OrtavelAutomation.8li, the host emulator ortavel-host.exe and
# the scenario driver.
# Everything links the C and C++ runtimes and winpthreads statically, so the
# programs run on any Windows, and under Wine, with the system's DLLs alone.
enable_language(RC)

# The host's records get the SDK's Windows packing only with WIN32 non-zero.
add_compile_definitions(WIN32=1)
add_link_options(-static -static-libgcc -static-libstdc++)

include(${CMAKE_CURRENT_LIST_DIR}/pipl.cmake)

add_subdirectory(src)
# The profile arithmetic and the lens table, for the automation module.
add_subdirectory(profiles)
add_subdirectory(emulator)
add_subdirectory(automation)
add_subdirectory(tests/windows)

# The kernels and the pool timed (bench/kernel_timing.cpp), against the Linux
# build of the same program: scripts/bench-end-to-end --windows-build DIR.
add_executable(ortavel_kernel_timing ${PROJECT_SOURCE_DIR}/bench/kernel_timing.cpp)
target_link_libraries(ortavel_kernel_timing PRIVATE ortavel_engines_static)
set_target_properties(ortavel_kernel_timing PROPERTIES OUTPUT_NAME ortavel-kernel-timing)
