// A library that carries a version record and nothing else; see versioned_file.rc.
extern "C" __declspec(dllexport) int versioned_file() {
    return 0;
}
