// Asio's non-template functions, compiled once for the whole project instead of inline in
// every unit that includes an Asio header (ASIO_SEPARATE_COMPILATION on tarnel_asio).
#include <asio/impl/src.hpp>
