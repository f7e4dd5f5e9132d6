# The test run of a build configured without GoogleTest.
message(FATAL_ERROR "GoogleTest was not found when the build was configured, so no test was built. "
                    "Install it (Debian: apt-get install libgtest-dev, or .ci/install-deps.sh), then "
                    "configure again (rm -rf build/default; make test).")
