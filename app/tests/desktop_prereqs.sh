# Sourced by the desktop end-to-end tests before anything starts.

# Skips the test (exit 77, which CTest reports as skipped) when a tool is
# missing, and fails it when the dictionary is.
require_tools_and_dictionary() {  # DICT TOOL...
    local dict=$1 tool
    shift
    for tool in "$@"; do
        if ! command -v "$tool" >/dev/null; then
            echo "SKIP: $tool is not installed"
            exit 77
        fi
    done
    [[ -f $dict ]] || { echo "FAIL: no dictionary at $dict (build the talvo_dictionary target)"; exit 1; }
}
