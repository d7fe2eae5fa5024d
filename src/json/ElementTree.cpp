#include "json/ElementTree.h"

#include "json/ReadArena.h"

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
  // The tree is taken apart front to back, the order in which a reader made its
  // nodes one after the other: a big document then streams through the caches
  // instead of being fetched node by node. Each child is cut loose before it is
  // deleted, so deleting only ever meets leaves and empty containers.
  struct Open {
    Imp* container;
    Object::Members* members;
    Array::Elements* elements;
  };
  std::vector<Open> open;
  NodeRelease batch;
  for (;;) {
    KindProbe probe(imp);
    if (probe.object != nullptr && !probe.object->empty())
      open.push_back({imp, &const_cast<Object*>(probe.object)->m_Members, nullptr});
    else if (probe.array != nullptr && !probe.array->empty())
      open.push_back({imp, nullptr, &const_cast<Array*>(probe.array)->m_Elements});
    else
      delete imp;
    imp = nullptr;
    while (imp == nullptr) {
      if (open.empty()) return;
      Open& last = open.back();
      if (last.members != nullptr && !last.members->empty()) {
        std::swap(imp, last.members->front().element.m_pImp);
        last.members->pop_front();
      } else if (last.elements != nullptr && !last.elements->empty()) {
        std::swap(imp, last.elements->front().m_pImp);
        last.elements->pop_front();
      } else {
        delete last.container;
        open.pop_back();
      }
    }
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
