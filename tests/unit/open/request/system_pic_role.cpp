// Tells by its exit code what the file it was started from means:
//
//   system_pic_role         41 when IsSystemPicStart says yes, 40 when no
//   system_pic_role open    the same for an open request with a "from"
#include <string>

#include "open/request/mini_program_service.h"
#include "open/request/system_pic_start.h"

namespace {

constexpr int kYes = 41;
constexpr int kNo = 40;
constexpr int kOther = 42;

int Open() {
    WxMiniProgramService service;
    Json::Value open(Json::objectValue);
    std::string refused;
    service.OpenApp(open, refused);
    open["from"] = "f";
    open["type"] = "x";
    std::string result;
    service.OpenApp(open, result);
    if (refused != "not from") {
        return kOther;
    }
    return result == "is system screen saver" ? kYes : result == "not type" ? kNo : kOther;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string what = argc > 1 ? argv[1] : "";
    if (what == "open") {
        return Open();
    }
    return WXMINI_PROGRAM_COMMON::IsSystemPicStart() ? kYes : kNo;
}
