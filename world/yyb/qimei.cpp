// A stand-in for the identity library, which is tested for its signer and never loaded.
extern "C" __declspec(dllexport) int qimei() {
    return 0;
}
