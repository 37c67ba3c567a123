// The console's page: one self-contained HTML document (its styles and
// script inline, nothing fetched from elsewhere) that shows what the local
// service received and keeps itself up to date from /console/stream and
// /console.json (see console_model.h).
#ifndef TESSARIN_TOOLS_SERVICE_CONSOLE_PAGE_H_
#define TESSARIN_TOOLS_SERVICE_CONSOLE_PAGE_H_

#include <string_view>

namespace tessarin::service {

std::string_view ConsolePageHtml();

}  // namespace tessarin::service

#endif  // TESSARIN_TOOLS_SERVICE_CONSOLE_PAGE_H_
