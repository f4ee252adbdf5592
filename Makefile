# The everyday commands. The build itself is CMake's: see CMakePresets.json.
.PHONY: demo test release dev asan-ubsan tidy format packages

demo: release
	tools/demo build/release

test: release
	ctest --preset release -j2

release dev asan-ubsan: packages
	@test -f build/$@/build.ninja || cmake --preset $@
	cmake --build --preset $@

packages:
	@tools/install-packages

tidy: release
	@tools/install-packages clang-tidy
	tools/tidy build/release

format:
	@tools/install-packages clang-format
	git ls-files '*.cpp' '*.hpp' | xargs clang-format -i
