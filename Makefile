# The everyday commands. The build itself is CMake's: see CMakePresets.json.
.PHONY: bench demo python test test-browser test-bulk test-clients relevance release dev asan-ubsan tsan fuzz reference tidy format check-format packages clang deb

# Only the program: the tests take longer to build than all else.
demo:
	@tools/install-packages --program
	@test -f build/release/build.ninja || cmake --preset release \
	  -DSTRUCTURE_INGEST_TESTS=OFF -DSTRUCTURE_INGEST_PYTHON_PACKAGE=OFF
	cmake --build --preset release -t structure-ingest
	tools/demo build/release

# The Python package, in build/python.
python:
	@tools/install-packages --python
	@grep -qs PYTHON_PACKAGE:BOOL=ON build/release/CMakeCache.txt || \
	  cmake --preset release -DSTRUCTURE_INGEST_TESTS=OFF
	cmake --build --preset release -t structure_ingest_package

test: release
	ctest --preset release -j2 -LE slow

# The report in a real browser.
test-browser: packages
	@tools/install-packages chromium chromium-driver python3-selenium
	@test -f build/release/build.ninja || cmake --preset release
	cmake --build --preset release -t structure-ingest
	/usr/bin/python3 tests/browser/report_test.py build/release/structure-ingest

# The reading of very many files, on a Dask cluster of a scheduler and two workers.
test-bulk: python
	@tools/install-packages python3-dask python3-distributed
	PYTHONPATH=$(CURDIR)/build/python /usr/bin/python3 -m pytest -q tests/bulk

# How the relevance rules do on the cases that they were tuned on, and on those that they were not.
relevance: release
	build/release/tests/relevance_report tests/collaborators/agent_modules/relevance/*_cases.tsv

# "make demo" leaves the tests out.
release: packages
	@grep -qs STRUCTURE_INGEST_TESTS:BOOL=ON build/$@/CMakeCache.txt || cmake --preset $@
	cmake --build --preset $@

dev: packages
	@test -f build/$@/build.ninja || cmake --preset $@
	cmake --build --preset $@

asan-ubsan tsan: packages clang
	@test -f build/$@/build.ninja || cmake --preset $@
	cmake --build --preset $@

# The server with clients that others wrote. npm installs them into the build folder.
test-clients: release
	@command -v node > /dev/null || tools/install-packages nodejs
	@command -v npm > /dev/null || tools/install-packages npm
	tests/server/clients/run build/release/structure-ingest build/clients

# Each fuzzer for SECONDS, from the inputs that it has found before.
SECONDS = 60
fuzz: asan-ubsan
	tools/fuzz build/asan-ubsan/fuzz $(SECONDS)

deb: packages
	@tools/install-packages dpkg-dev file lintian
	tools/build-deb

# `make bench BENCH=--short` only shows that the benchmarks work; BENCH='--plot FILE' draws a plot.
bench:
	@tools/install-packages libbenchmark-dev libfast-float-dev rapidjson-dev
	cmake --preset release -DSTRUCTURE_INGEST_BENCH=ON
	cmake --build --preset release
	bench/run.py build/release $(BENCH)

packages:
	@tools/install-packages

clang:
	@tools/install-packages clang libclang-rt-14-dev

reference:
	@tools/install-packages doxygen
	@mkdir -p build
	doxygen docs/Doxyfile
	@echo "The API reference is in build/reference/html/index.html"

# Of each source alone: the release build compiles several together.
tidy: packages
	@tools/install-packages clang-tidy
	cmake --preset dev
	tools/tidy build/dev

format check-format:
	@tools/install-packages clang-format
	git ls-files '*.cpp' '*.hpp' | xargs clang-format $(if $(filter format,$@),-i,--dry-run -Werror)
