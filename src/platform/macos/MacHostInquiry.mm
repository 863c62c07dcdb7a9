#import "platform/macos/MacHostInquiry.h"

namespace tandemview {

MacHostInquiry::~MacHostInquiry() {
  for (const DNSServiceRef question : questions_) DNSServiceRefDeallocate(question);
}

void MacHostInquiry::ask(std::size_t index, const std::string& name, const std::string& type, const std::string& domain,
                         dispatch_queue_t queue) {
  DNSServiceRef question = nullptr;
  if (DNSServiceResolve(&question, /*flags=*/0, kDNSServiceInterfaceIndexAny, name.c_str(), type.c_str(),
                        domain.c_str(), resolved, &answers_[index]) != kDNSServiceErr_NoError) {
    return;
  }
  questions_.push_back(question);
  DNSServiceSetDispatchQueue(question, queue);
}

/// Once for every service record.
void MacHostInquiry::resolved(DNSServiceRef, DNSServiceFlags, std::uint32_t, DNSServiceErrorType error, const char*,
                              const char* host, std::uint16_t, std::uint16_t, const unsigned char*, void* names) {
  if (error != kDNSServiceErr_NoError || !host) return;
  std::string name = host;
  for (char& character : name) {
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character - 'A' + 'a');
  }
  static_cast<WiFiBrowser::HostNames*>(names)->insert(std::move(name));
}

}  // namespace tandemview
