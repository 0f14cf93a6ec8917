// The catalogue messages the library uses, by name. Each text is a printf
// template of the message module (qormsg14), and each function here formats
// one of them with exactly the arguments its template takes: a site cannot
// pass the wrong number or kind of arguments, which would make the wide
// formatting read arguments that were never passed.
//
// Example:
//   throw QorError(QOR::internal::undecodableTextMessage(raw.name()));
//
// Note: a new message gets its number in Message, a function here, and its
// template in qormsg14/qormsg14.cpp.
#pragma once

#include <qorcor14/text/strings.h>

#include <qormsg.h>

#include <string>

namespace QOR::internal {

enum class Message : unsigned int {
  invalidUuid = 218,
  undecodableText = 248,
  cannotOpenForReading = 249,
  cannotOpenForWriting = 250,
  cannotReadOrSeek = 251,
  cannotWrite = 252,
  cannotClose = 253,
  unencodableCharacter = 254,
  profileDisplayName = 271,
  invalidUrl = 278,
  cannotDownloadUrl = 280,
  profileFullName = 282,
};

// The template of `m`.
[[nodiscard]] inline std::wstring messageTemplate(Message m) { return qorMsg(static_cast<unsigned int>(m)); }

// 218: the UUID text that was rejected.
[[nodiscard]] inline std::wstring invalidUuidMessage(const std::wstring& text) {
  return stringPrintf(messageTemplate(Message::invalidUuid).c_str(), text.c_str());
}

// 248: the name of the source whose bytes do not decode.
[[nodiscard]] inline std::wstring undecodableTextMessage(const std::wstring& source) {
  return stringPrintf(messageTemplate(Message::undecodableText).c_str(), source.c_str());
}

// The raw file failures, 249 to 253.
enum class RawFileFailure : unsigned int {
  openForReading = static_cast<unsigned int>(Message::cannotOpenForReading),
  openForWriting = static_cast<unsigned int>(Message::cannotOpenForWriting),
  readOrSeek = static_cast<unsigned int>(Message::cannotReadOrSeek),
  write = static_cast<unsigned int>(Message::cannotWrite),
  close = static_cast<unsigned int>(Message::cannotClose),
};

// 249-253: the file's name, then the C runtime's text for its error.
[[nodiscard]] inline std::wstring rawFileMessage(RawFileFailure failure, const std::wstring& name,
                                                 const char* runtimeError) {
  return stringPrintf(messageTemplate(static_cast<Message>(failure)).c_str(), name.c_str(), runtimeError);
}

// 254: the character as "U+XXXX", then the destination's name.
[[nodiscard]] inline std::wstring unencodableCharacterMessage(const std::wstring& code,
                                                              const std::wstring& destination) {
  return stringPrintf(messageTemplate(Message::unencodableCharacter).c_str(), code.c_str(), destination.c_str());
}

// 271: a colour profile's description.
[[nodiscard]] inline std::wstring profileDisplayNameMessage(const std::wstring& description) {
  return stringPrintf(messageTemplate(Message::profileDisplayName).c_str(), description.c_str());
}

// 282: a colour profile's manufacturer, model and profile descriptions.
[[nodiscard]] inline std::wstring profileFullNameMessage(const std::wstring& manufacturer, const std::wstring& model,
                                                         const std::wstring& description) {
  return stringPrintf(messageTemplate(Message::profileFullName).c_str(), manufacturer.c_str(), model.c_str(),
                      description.c_str());
}

// 278: the URL that cannot be unescaped, canonicalised or cleaned up.
[[nodiscard]] inline std::wstring invalidUrlMessage(const std::wstring& url) {
  return stringPrintf(messageTemplate(Message::invalidUrl).c_str(), url.c_str());
}

// 280: the URL that cannot be downloaded to the cache.
[[nodiscard]] inline std::wstring cannotDownloadUrlMessage(const std::wstring& url) {
  return stringPrintf(messageTemplate(Message::cannotDownloadUrl).c_str(), url.c_str());
}

}  // namespace QOR::internal
