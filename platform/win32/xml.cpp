#include "platform/xml.h"

#include <windows.h>

#include <msxml2.h>

#include "platform/error.h"
#include "platform/win32/com.h"

namespace zv {
namespace {

// COM is initialised once for each thread that gets here and left so to the thread's end: giving it
// up would have to happen while the thread's storage is torn down, when COM must not be called. A
// thread whose host chose another model keeps that.
void InitialiseCom() {
  thread_local bool done = false;
  if (!done) CoInitialize(nullptr);
  done = true;
}

void Check(HRESULT result) {
  if (SUCCEEDED(result)) return;
  if (result == E_OUTOFMEMORY) throw std::bad_alloc();
  const auto code = static_cast<uint32_t>(result);
  throw Error(ErrorKind::kOther, code, SystemErrorText(code));
}

// Whether a document type declaration stands before the root element.
bool HasDoctype(TextView xml) {
  size_t at = 0;
  while ((at = xml.find(u'<', at)) != TextView::npos) {
    const TextView rest = xml.substr(at);
    TextView end;
    if (rest.starts_with(u"<?")) {
      end = u"?>";
    } else if (rest.starts_with(u"<!--")) {
      end = u"-->";
    } else {
      return rest.starts_with(u"<!");
    }
    const size_t found = rest.find(end, end.size());
    if (found == TextView::npos) return false;
    at += found + end.size();
  }
  return false;
}

std::shared_ptr<void> Own(IXMLDOMNode* node) {
  return {node, [](void* object) { static_cast<IXMLDOMNode*>(object)->Release(); }};
}

IXMLDOMNode* ToNode(void* node) { return static_cast<IXMLDOMNode*>(node); }

}  // namespace

struct XmlDocument::Impl {
  ComPtr<IXMLDOMDocument> document;
  HRESULT failure = S_OK;
  bool loaded = false;

  HRESULT Create() {
    InitialiseCom();
    CLSID class_id;
    const HRESULT found = CLSIDFromProgID(L"msxml2.DOMDocument.3.0", &class_id);
    if (FAILED(found)) return found;
    static constexpr IID kDocument = {
        0x2933BF81, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
    return CoCreateInstance(class_id, nullptr, CLSCTX_INPROC_SERVER, kDocument,
                            reinterpret_cast<void**>(document.out()));
  }
};

XmlDocument::XmlDocument() : impl_(std::make_unique<Impl>()) { impl_->failure = impl_->Create(); }
XmlDocument::~XmlDocument() = default;
XmlDocument::XmlDocument(XmlDocument&&) noexcept = default;
XmlDocument& XmlDocument::operator=(XmlDocument&&) noexcept = default;

bool XmlDocument::is_valid() const { return static_cast<bool>(impl_->document); }
int32_t XmlDocument::failure_code() const { return impl_->failure; }

bool XmlDocument::Load(TextView xml) {
  impl_->loaded = false;
  if (!is_valid() || HasDoctype(xml)) return false;
  InitialiseCom();
  auto& document = impl_->document;
  document->put_async(VARIANT_FALSE);
  document->put_validateOnParse(VARIANT_FALSE);
  document->put_resolveExternals(VARIANT_FALSE);
  document->put_preserveWhiteSpace(VARIANT_TRUE);
  const Bstr text(xml);
  VARIANT_BOOL well_formed = VARIANT_FALSE;
  const HRESULT result = document->loadXML(text.get(), &well_formed);
  if (FAILED(result)) SetLastError(static_cast<uint32_t>(result));
  impl_->loaded = result == S_OK && well_formed != VARIANT_FALSE;
  return impl_->loaded;
}

std::vector<XmlNode> XmlDocument::Select(TextView path) const {
  std::vector<XmlNode> nodes;
  if (!impl_->loaded) return nodes;
  InitialiseCom();
  ComPtr<IXMLDOMNodeList> list;
  Check(impl_->document->selectNodes(Bstr(path).get(), list.out()));
  while (list) {
    ComPtr<IXMLDOMNode> node;
    Check(list->nextNode(node.out()));
    if (!node) break;
    IXMLDOMNode* const raw = node.release();
    nodes.push_back(XmlNode(Own(raw), raw));
  }
  return nodes;
}

std::optional<XmlNode> XmlNode::SelectSingle(TextView path) const {
  InitialiseCom();
  ComPtr<IXMLDOMNode> node;
  Check(ToNode(node_)->selectSingleNode(Bstr(path).get(), node.out()));
  if (!node) return std::nullopt;
  IXMLDOMNode* const raw = node.release();
  return XmlNode(Own(raw), raw);
}

Text XmlNode::NodeText() const {
  InitialiseCom();
  Bstr text;
  Check(ToNode(node_)->get_text(text.out()));
  return text.text();
}

}  // namespace zv
