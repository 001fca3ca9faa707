#pragma once

/// The product web page: the About box opens it, exported GPX files name it in their creator.
inline constexpr const char *kWebPageUrl = "https://veloran.org/";
