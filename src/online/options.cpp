#include "ormo/options.h"

namespace Ormo {
namespace {

const char* CharactersOf(const std::string& text) {
  return text.c_str();
}

const char* CharactersOf(const ox::TarnString& text) {
  return text.GetString();
}

}  // namespace

template <typename To, typename From>
std::map<To, To> Options::ConvertText(const std::map<From, From>& options) {
  std::map<To, To> converted;
  for (const auto& [key, value] : options) {
    converted.emplace(CharactersOf(key), CharactersOf(value));
  }
  return converted;
}

std::map<ox::TarnString, ox::TarnString> Options::Convert(
    const std::map<std::string, std::string>& options) {
  return ConvertText<ox::TarnString>(options);
}

std::map<std::string, std::string> Options::Convert(
    const std::map<ox::TarnString, ox::TarnString>& options) {
  return ConvertText<std::string>(options);
}

std::map<std::string, std::string> Options::Mappping(
    const std::map<std::string, std::string>& options,
    const std::map<std::string, std::string>& nameMap) {
  std::map<std::string, std::string> mapped;
  for (const auto& [name, target] : nameMap) {
    const auto option = options.find(name);
    if (option != options.end() && !option->second.empty()) {
      mapped[target] = option->second;
    }
  }
  return mapped;
}

}  // namespace Ormo
