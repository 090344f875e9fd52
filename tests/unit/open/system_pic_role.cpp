// Tells by its exit code what IsSystemPicStart says of the file it was started from: 41 is yes, 40 is no.
#include "open/system_pic_start.h"

int main() {
    return WXMINI_PROGRAM_COMMON::IsSystemPicStart() ? 41 : 40;
}
