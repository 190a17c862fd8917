#pragma once

/// Constants that several files use.
namespace LxConstants {

constexpr double Percent = 100.0;
/// Net assets of at most this magnitude are treated as unknown.
constexpr double Negligible = 1e-8;
constexpr int SymbolsPerDeepDataRequest = 100;

} // namespace LxConstants
