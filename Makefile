# Set-up and the everyday entry points. Every target installs what is missing first.
JOBS ?= $(shell nproc)

.PHONY: deps demo test tsan bench soak fuzz fuzzers format bitmaps install package docs clean

deps:
	@bash scripts/install-deps.sh

demo: deps
	cmake --preset release >/dev/null
	cmake --build --preset release -j $(JOBS)
	./build/release/tools/tnwebui_demo ./build/release/libTnWebUI.so

test: deps
	cmake --preset test >/dev/null
	cmake --build --preset test -j $(JOBS)
	ctest --preset test -j $(JOBS)
	$(MAKE) --no-print-directory fuzzers
	bash scripts/fuzz.sh smoke

# The module, its platform libraries, headers and CMake package, and tnwebui-run with the
# client's pages and the sample light apps, under PREFIX (/usr/local unless
# told), below DESTDIR when given: `make install DESTDIR=/tmp/stage PREFIX=/opt/tnwebui`.
install: deps
	cmake --preset release >/dev/null
	cmake --build --preset release -j $(JOBS) --target TnWebUI tnwebui-run
	DESTDIR="$(DESTDIR)" cmake --install build/release $(if $(PREFIX),--prefix "$(PREFIX)")

# A Debian package of the release build: build/release/tnwebui_<version>_<arch>.deb, which
# `apt install ./build/release/tnwebui_*.deb` installs with its dependencies; and the
# declarations as an npm package, build/release/tnwebui-types-<version>.tgz.
package: deps
	cmake --preset release >/dev/null
	cmake --build --preset release -j $(JOBS)
	cd build/release && cpack -G DEB >/dev/null && ls tnwebui_*.deb
	cd build/release && npm pack ../../pages/types --silent

# The reference of the host-facing headers, with every interface's slots: build/docs/html.
docs: deps
	bash scripts/docs.sh build/docs

# The libFuzzer targets (clang, ASan + UBSan).
fuzzers: deps
	cmake --preset fuzz >/dev/null
	cmake --build --preset fuzz -j $(JOBS) --target fuzzers

# Every fuzz target for FUZZ_SECONDS (300 unless told) over its corpus.
fuzz: fuzzers
	bash scripts/fuzz.sh long

tsan: deps
	cmake --preset tsan >/dev/null
	cmake --build --preset tsan -j $(JOBS)
	ctest --preset tsan -j $(JOBS)

# Draws the title bar's bitmaps anew into the sources.
bitmaps: deps
	cmake --preset release >/dev/null
	cmake --build --preset release -j $(JOBS) --target draw_title_bitmaps
	d=$$(mktemp -d) && QT_QPA_PLATFORM=offscreen XDG_RUNTIME_DIR=$$d \
	  ./build/release/tools/draw_title_bitmaps src/light/resources/bitmaps; rm -rf $$d

bench: deps
	cmake --preset release >/dev/null
	cmake --build --preset release -j $(JOBS)
	for b in ./build/release/bench/*_bench; do SOAK_MINUTES=$${SOAK_MINUTES:-1} $$b; done

# Fifty windows of hostile and honest pages for SOAK_MINUTES (ten unless told).
soak: deps
	cmake --preset release >/dev/null
	cmake --build --preset release -j $(JOBS) --target soak_bench
	SOAK_MINUTES=$${SOAK_MINUTES:-10} ./build/release/bench/soak_bench

format:
	find include platform src tests bench fuzz tools -name '*.h' -o -name '*.cpp' | xargs clang-format -i

clean:
	rm -rf build
