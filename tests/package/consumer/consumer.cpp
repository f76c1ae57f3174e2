// A host in C++: what cannot be told without an account is refused or empty.
#include <zvworker/zvworker.h>

#include <array>
#include <iostream>

int main() {
  std::array<ZvChar, 260> name = {u'?'};
  const auto transfer =
      GetInternetDetails(name.data(), nullptr, nullptr, nullptr, ZV_READ_PROGRESS);
  const auto deleted = DeleteNewDrive(u"Y:");
  const auto created = CreateNewDrive(nullptr, u"", u"");
  ResetProgressDetails();
  std::cout << "transfer " << transfer << ", deleted " << deleted << ", created " << created
            << "\n";
  const bool as_promised = transfer == ZV_IDLE && name[0] == 0 && deleted == ZV_GENERAL_FAILURE &&
                           created == ZV_BAD_NET_NAME;
  return as_promised ? 0 : 1;
}
