// A library that has what its user looks for under no name.
extern "C" __declspec(dllexport) int NexletPlanted() {
    return 1;
}
