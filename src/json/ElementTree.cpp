#include "json/ElementTree.h"

#include <json/Array.h>
#include <json/Object.h>

#include <utility>
#include <vector>

namespace json {
namespace {

enum class Kind { kNull, kBoolean, kString, kUnsignedInteger, kNumber, kObject, kArray };

// Learns an element's kind the only way there is: by having it accept a visitor.
class KindProbe : public ConstVisitor {
 public:
  explicit KindProbe(const UnknownElement::Imp* imp) {
    if (imp != nullptr) imp->Accept(*this);
  }

  void Visit(const Null&) override { kind = Kind::kNull; }
  void Visit(const Boolean&) override { kind = Kind::kBoolean; }
  void Visit(const String&) override { kind = Kind::kString; }
  void Visit(const UnsignedInteger&) override { kind = Kind::kUnsignedInteger; }
  void Visit(const Number&) override { kind = Kind::kNumber; }
  void Visit(const Object& o) override {
    kind = Kind::kObject;
    object = &o;
  }
  void Visit(const Array& a) override {
    kind = Kind::kArray;
    array = &a;
  }

  bool isContainer() const { return object != nullptr || array != nullptr; }

  Kind kind = Kind::kNull;
  const Object* object = nullptr;
  const Array* array = nullptr;
};

// Lets go of a child of a container being deleted: a non-empty container is cut
// loose and left to the caller's loop, anything else is deleted at once.
void detachChild(UnknownElement::Imp*& child, std::vector<UnknownElement::Imp*>& pending) {
  if (child == nullptr) return;
  KindProbe probe(child);
  if ((probe.object != nullptr && !probe.object->empty()) ||
      (probe.array != nullptr && !probe.array->empty()))
    pending.push_back(child);
  else
    delete child;
  child = nullptr;
}

}  // namespace

// A copy job: fill the empty container `to` with copies of the content of `from`.
struct CopyJob {
  const Object* fromObject;
  const Array* fromArray;
  Object* toObject;
  Array* toArray;
};

namespace {

// Copies a scalar at once; for a container makes an empty one and leaves its
// content to a job, so the copy never recurses.
UnknownElement::Imp* cloneShallow(const UnknownElement::Imp* imp, std::vector<CopyJob>& jobs) {
  if (imp == nullptr) return nullptr;
  KindProbe probe(imp);
  if (probe.object != nullptr) {
    auto* copy = new UnknownElement::Imp_T<Object>();
    if (!probe.object->empty()) jobs.push_back({probe.object, nullptr, &copy->m_Element, nullptr});
    return copy;
  }
  if (probe.array != nullptr) {
    auto* copy = new UnknownElement::Imp_T<Array>();
    if (!probe.array->empty()) jobs.push_back({nullptr, probe.array, nullptr, &copy->m_Element});
    return copy;
  }
  return imp->Clone();
}

}  // namespace

ElementTree::Imp* ElementTree::clone(const Imp* imp) {
  std::vector<CopyJob> jobs;
  Imp* root = cloneShallow(imp, jobs);
  while (!jobs.empty()) {
    CopyJob job = jobs.back();
    jobs.pop_back();
    if (job.fromObject != nullptr) {
      for (const Object::Member& member : job.fromObject->m_Members) {
        job.toObject->m_Members.emplace_back();
        Object::Member& copy = job.toObject->m_Members.back();
        copy.name = member.name;
        copy.element.m_pImp = cloneShallow(member.element.m_pImp, jobs);
      }
    } else {
      for (const UnknownElement& element : job.fromArray->m_Elements) {
        job.toArray->m_Elements.emplace_back();
        job.toArray->m_Elements.back().m_pImp = cloneShallow(element.m_pImp, jobs);
      }
    }
  }
  return root;
}

void ElementTree::release(Imp* imp) {
  if (imp == nullptr) return;
  // Nested containers are cut loose before their parent is deleted, so deleting a
  // parent only ever deletes leaves and empty containers.
  std::vector<Imp*> pending;
  for (;;) {
    // A container's children go last first, the reverse of the order in which a
    // reader made them: measured, that is the order the allocator frees fastest.
    KindProbe probe(imp);
    if (probe.object != nullptr) {
      Object::Members& members = const_cast<Object*>(probe.object)->m_Members;
      while (!members.empty()) {
        detachChild(members.back().element.m_pImp, pending);
        members.pop_back();
      }
    } else if (probe.array != nullptr) {
      Array::Elements& elements = const_cast<Array*>(probe.array)->m_Elements;
      while (!elements.empty()) {
        detachChild(elements.back().m_pImp, pending);
        elements.pop_back();
      }
    }
    delete imp;
    if (pending.empty()) return;
    imp = pending.back();
    pending.pop_back();
  }
}

bool ElementTree::equal(const Imp* left, const Imp* right) {
  std::vector<std::pair<const Imp*, const Imp*>> pending;
  pending.emplace_back(left, right);
  while (!pending.empty()) {
    const Imp* a = pending.back().first;
    const Imp* b = pending.back().second;
    pending.pop_back();
    KindProbe probeA(a);
    KindProbe probeB(b);
    if (probeA.kind != probeB.kind) return false;
    switch (probeA.kind) {
      case Kind::kNull:
        break;
      case Kind::kObject: {
        const Object::Members& membersA = probeA.object->m_Members;
        const Object::Members& membersB = probeB.object->m_Members;
        if (membersA.size() != membersB.size()) return false;
        auto itB = membersB.begin();
        for (auto itA = membersA.begin(); itA != membersA.end(); ++itA, ++itB) {
          if (itA->name != itB->name) return false;
          pending.emplace_back(itA->element.m_pImp, itB->element.m_pImp);
        }
        break;
      }
      case Kind::kArray: {
        const Array::Elements& elementsA = probeA.array->m_Elements;
        const Array::Elements& elementsB = probeB.array->m_Elements;
        if (elementsA.size() != elementsB.size()) return false;
        for (size_t i = 0; i < elementsA.size(); ++i)
          pending.emplace_back(elementsA[i].m_pImp, elementsB[i].m_pImp);
        break;
      }
      default:
        if (!a->Compare(*b)) return false;
        break;
    }
  }
  return true;
}

}  // namespace json
