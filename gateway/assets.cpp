// See assets.h.
#include "gateway/assets.h"

#include "gateway/status_page.h"

namespace mvsms::gateway {

std::span<const Asset> Assets() {
  using namespace status_page;
  static constexpr char kScript[] = "text/javascript; charset=utf-8";
  static constexpr Asset kAssets[] = {
      {"/", "text/html; charset=utf-8", kIndex},
      {"/assets/style.css", "text/css; charset=utf-8", kStyle},
      {"/assets/icon.svg", "image/svg+xml", kIcon},
      {"/assets/api.js", kScript, kApi},
      {"/assets/dom.js", kScript, kDom},
      {"/assets/page.js", kScript, kPage},
      {"/assets/pages.js", kScript, kPages},
      {"/assets/plot.js", kScript, kPlot},
      {"/assets/texts.js", kScript, kTexts},
      {"/assets/verdict.js", kScript, kVerdict},
      {"/assets/words.js", kScript, kWords},
  };
  return kAssets;
}

}  // namespace mvsms::gateway
