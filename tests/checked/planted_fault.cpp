// Ends at an addition that overflows. A test looks at what is said of it.
#include <cstdlib>
#include <string>

int Sum(int left, int right) {
    return left + right;
}

int main(int argc, char**) {
    // The first block of the guarded heap installs the report.
    const std::string number(100, argc > 0 ? '2' : '1');
    return Sum(std::atoi("2147483647"), number.size() > 50 ? 1 : 0);
}
