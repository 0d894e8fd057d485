# The project's commands. Each installs the Debian packages it needs, builds, and does its work.
PREFIX ?= /usr/local
FUZZ_SECONDS ?= 60
CONFIGURE_FLAGS ?=

.PHONY: all demo test asan tsan coverage bench fuzz install package format lint clean

all: build/release
	cmake --build --preset release

build/%: FORCE
	@tools/setup build $(SETUP_$*)
	cmake --preset $* $(CONFIGURE_FLAGS)

.PHONY: FORCE
FORCE:
SETUP_release = test
SETUP_asan = test
SETUP_tsan = test
SETUP_bench = bench
SETUP_fuzz = fuzz
SETUP_coverage = test coverage

# The main job on real data.
demo: all
	@examples/demo build/release/bin/tessel

# All tests.
test: all
	ctest --preset release

# All tests under AddressSanitizer and UndefinedBehaviorSanitizer.
asan: build/asan
	cmake --build --preset asan
	ctest --preset asan

# The tests with threads under ThreadSanitizer, which finds its memory only where addresses are not random.
tsan: build/tsan
	$(FIXED_ADDRESSES) cmake --build --preset tsan
	$(FIXED_ADDRESSES) ctest --preset tsan
tsan: FIXED_ADDRESSES = $(shell setarch -R true 2>/dev/null && echo setarch -R)

# The lines of src/ that the tests run, by file.
coverage: build/coverage
	cmake --build --preset coverage
	find build/coverage -name '*.gcda' -delete
	ctest --preset coverage
	gcovr --root . --filter src/ build/coverage

# One table of our time against our peers'.
bench: build/bench
	cmake --build --preset bench
	@bench/table build/bench/bin

# Each fuzz target for FUZZ_SECONDS.
fuzz: build/fuzz
	cmake --build --preset fuzz
	@fuzz/run_all build/fuzz/bin $(FUZZ_SECONDS)

install: all
	cmake --install build/release --prefix "$(PREFIX)"

# A Debian package, in build/.
package: all
	cd build/release && cpack -B "$(CURDIR)/build"
	@rm -rf build/_CPack_Packages

format:
	@tools/setup lint
	git ls-files '*.cpp' '*.h' '*.hpp' '*.c' | xargs clang-format -i

# Formatting and static checks.
lint: all
	@tools/setup lint
	git ls-files '*.cpp' '*.h' '*.hpp' '*.c' | xargs clang-format --dry-run --Werror
	git ls-files 'src/*.cpp' 'exports/*.cpp' 'morvwin/*.cpp' 'cli/*.cpp' | xargs -P $$(nproc) -n 2 clang-tidy --quiet -p build/release

clean:
	rm -rf build
