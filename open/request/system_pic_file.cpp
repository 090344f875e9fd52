#include "open/request/system_pic_start.h"

namespace WXMINI_PROGRAM_COMMON {

bool IsSystemPicFile(std::string_view path, std::string_view longForm) {
    const std::size_t backslash = path.rfind('\\');
    return (backslash == std::string_view::npos ? longForm : path.substr(backslash + 1)) == "Ovrinmuralo.scr";
}

}  // namespace WXMINI_PROGRAM_COMMON
