// SHA-256, by which a text can be recognised that was not kept.
#pragma once

#include <string>
#include <string_view>

namespace mvsms {

/// The digest of `bytes` as 64 lower-case hexadecimal digits, as sha256sum prints it.
std::string Sha256(std::string_view bytes);

}  // namespace mvsms
