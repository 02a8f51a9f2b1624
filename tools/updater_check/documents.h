// The shared files' documents, as the library writes them.
#ifndef KXL_TOOLS_UPDATER_CHECK_DOCUMENTS_H
#define KXL_TOOLS_UPDATER_CHECK_DOCUMENTS_H

#include <string>
#include <string_view>

namespace conformance {

// What every one of them begins with.
inline constexpr char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n";

inline std::string Preferences(const std::string& settings) {
  return kDeclaration + ("<KeldaUpdater>\n" + settings) + "</KeldaUpdater>\n";
}

inline std::string Texts(const std::string& name, const std::string& folder) {
  return "<DisplayName>" + name + "</DisplayName>\n<InstallPath>" + folder + "</InstallPath>\n";
}

inline std::string Applications(const std::string& entries) {
  return kDeclaration + ("<KeldaUpdaterRegistrationManager>\n" + entries) +
         "</KeldaUpdaterRegistrationManager>\n";
}

inline std::string Application(const std::string& id, const std::string& content) {
  return "<Application appID=\"" + id + "\">\n" + content + "</Application>\n";
}

inline std::string MissingComponents(const std::string& records) {
  return kDeclaration + ("<KeldaUpdaterMissingCompsManager>\n" + records) +
         "</KeldaUpdaterMissingCompsManager>\n";
}

inline std::string MissingRecord(const std::string& id, const std::string& content,
                                 const std::string& attributes = "") {
  return "<KeldaUpdaterMissingCompsApp AppID=\"" + id + "\" OperationType=\"4\" RedoCFU=\"1\"" +
         attributes + ">\n" + content + "</KeldaUpdaterMissingCompsApp>\n";
}

inline std::string MissingComponent(const std::string& name, const std::string& version = "1.2.0.0",
                                    const std::string& attributes = "") {
  return "<AMissingComponent category=\"parts\" name=\"" + name + "\" version=\"" + version + "\"" +
         attributes + "></AMissingComponent>\n";
}

}  // namespace conformance

#endif  // KXL_TOOLS_UPDATER_CHECK_DOCUMENTS_H
