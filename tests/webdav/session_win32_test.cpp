// A machine whose document object cannot be made.
#include <windows.h>

#include "tests/webdav/replies.h"

namespace zv::testing {
namespace {

constexpr wchar_t kClassKey[] = L"Msxml2.DOMDocument.3.0\\CLSID";
constexpr wchar_t kNobodysClass[] = L"{11111111-2222-3333-4444-555555555555}";

// While it lives, the object's name stands for a class that nobody has.
class NoDocumentObject {
 public:
  NoDocumentObject() {
    DWORD size = sizeof before_;
    found_ = RegGetValueW(HKEY_CLASSES_ROOT, kClassKey, nullptr, RRF_RT_REG_SZ, nullptr, before_,
                          &size) == ERROR_SUCCESS;
    Set(kNobodysClass);
  }
  ~NoDocumentObject() { Set(before_); }
  NoDocumentObject(const NoDocumentObject&) = delete;
  NoDocumentObject& operator=(const NoDocumentObject&) = delete;

  bool found() const { return found_; }

 private:
  static void Set(const wchar_t* text) {
    RegSetKeyValueW(HKEY_CLASSES_ROOT, kClassKey, nullptr, REG_SZ, text,
                    static_cast<DWORD>((wcslen(text) + 1) * sizeof(wchar_t)));
  }

  wchar_t before_[64] = {};
  bool found_ = false;
};

TEST_F(ClientTest, WithoutADocumentObjectThereIsNoConnectionAndTheResultCodeIsTold) {
  const NoDocumentObject none;
  ASSERT_TRUE(none.found());
  const OpenClient client;
  EXPECT_EQ(client.connection_, nullptr);
  EXPECT_TRUE(home_.LogHasLine(u"DavDebug.txt",
                               u"Could not create MSXML dll instance, Reason: -2147221164"));
}

}  // namespace
}  // namespace zv::testing
