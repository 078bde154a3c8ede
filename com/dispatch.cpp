// Late binding, see dispatch.h.
#include "com/dispatch.h"

#include <vector>

namespace mvsms::com {
namespace {

/// A VARIANT that its destructor clears.
class Variant {
 public:
  Variant() { ::VariantInit(&value_); }
  Variant(Variant&& other) noexcept : value_(other.value_) { ::VariantInit(&other.value_); }
  Variant(const Variant&) = delete;
  Variant& operator=(const Variant&) = delete;
  Variant& operator=(Variant&&) = delete;
  ~Variant() { ::VariantClear(&value_); }
  VARIANT* Get() { return &value_; }

 private:
  VARIANT value_;
};

/// The description of one member, which the destructor gives back.
class Member {
 public:
  Member(ITypeInfo* info, DISPID id, WORD flags) : info_(info) {
    for (UINT index = 0; SUCCEEDED(info_->GetFuncDesc(index, &description_)); ++index) {
      if (description_->memid == id && (description_->invkind & flags) != 0) return;
      info_->ReleaseFuncDesc(std::exchange(description_, nullptr));
    }
    description_ = nullptr;
  }
  Member(const Member&) = delete;
  Member& operator=(const Member&) = delete;
  ~Member() {
    if (description_) info_->ReleaseFuncDesc(description_);
  }

  explicit operator bool() const { return description_ != nullptr; }
  WORD Kind() const { return static_cast<WORD>(description_->invkind); }
  /// Number of arguments that a caller can give: all but the result.
  UINT Arguments() const {
    UINT count = static_cast<UINT>(description_->cParams);
    if (count > 0 && (Flags(count - 1) & PARAMFLAG_FRETVAL) != 0) --count;
    return count;
  }
  bool HasResult() const {
    const VARTYPE type = description_->elemdescFunc.tdesc.vt;
    return Arguments() < static_cast<UINT>(description_->cParams) ||
           (type != VT_VOID && type != VT_HRESULT);
  }
  bool IsByReference(UINT index) const { return Type(index).vt == VT_PTR; }
  VARTYPE ValueType(UINT index) const {
    return IsByReference(index) ? Type(index).lptdesc->vt : Type(index).vt;
  }
  bool IsOptional(UINT index) const { return (Flags(index) & PARAMFLAG_FOPT) != 0; }
  /// The declared default of an argument, or null.
  const VARIANT* Default(UINT index) const {
    if ((Flags(index) & PARAMFLAG_FHASDEFAULT) == 0) return nullptr;
    return &description_->lprgelemdescParam[index].paramdesc.pparamdescex->varDefaultValue;
  }

 private:
  const TYPEDESC& Type(UINT index) const { return description_->lprgelemdescParam[index].tdesc; }
  USHORT Flags(UINT index) const {
    return description_->lprgelemdescParam[index].paramdesc.wParamFlags;
  }

  ITypeInfo* info_;
  FUNCDESC* description_ = nullptr;
};

bool IsMissing(const VARIANT* argument) {
  if (argument && argument->vt == (VT_BYREF | VT_VARIANT)) argument = argument->pvarVal;
  return !argument || (argument->vt == VT_ERROR && argument->scode == DISP_E_PARAMNOTFOUND);
}

/// Whether the arrays hold what their counts say.
bool IsSound(const DISPPARAMS* given) {
  return given && (given->cArgs == 0 || given->rgvarg) && given->cNamedArgs <= given->cArgs &&
         (given->cNamedArgs == 0 || given->rgdispidNamedArgs);
}

/// The caller's arguments by position: a positional one counts from the end of the array, a named
/// one says its position. `bad` receives the index of one that names no parameter, or one that is
/// given already.
HRESULT ByPosition(const DISPPARAMS& given, UINT count, std::vector<VARIANT*>& arguments,
                   UINT* bad) {
  arguments.assign(count, nullptr);
  if (given.cArgs > count) return DISP_E_BADPARAMCOUNT;
  for (UINT index = given.cArgs; index-- > 0;) {
    UINT position = given.cArgs - 1 - index;
    if (index < given.cNamedArgs) {
      const DISPID name = given.rgdispidNamedArgs[index];
      position = name == DISPID_PROPERTYPUT ? count - 1 : static_cast<UINT>(name);
    }
    if (position >= count || arguments[position]) {
      if (bad) *bad = index;
      return DISP_E_PARAMNOTFOUND;
    }
    arguments[position] = &given.rgvarg[index];
  }
  return S_OK;
}

/// Points `reference` at the value of `local`, as a by-reference argument of that type.
void MakeReference(VARIANT* local, VARIANT& reference) {
  reference.vt = static_cast<VARTYPE>(VT_BYREF | local->vt);
  reference.byref =
      static_cast<void*>(&local->byref);  // all members of the union begin at one place
}

/// Puts the value back into the variable that the caller passed by reference, in its own type. One
/// that cannot take it keeps what it has: the call has been made, and its result counts. For the
/// same reason a value of the right type changes its owner, which needs no memory.
void WriteBack(VARIANT* value, VARIANT* caller) {
  if (!caller || (caller->vt & VT_BYREF) == 0) return;
  if (caller->vt == (VT_BYREF | VT_VARIANT)) {
    if ((caller->pvarVal->vt & VT_BYREF) != 0) return WriteBack(value, caller->pvarVal);
    std::swap(*caller->pvarVal, *value);
    return;
  }
  Variant converted;
  const auto type = static_cast<VARTYPE>(caller->vt & ~VT_BYREF);
  if (value->vt != type) {
    if (FAILED(::VariantChangeType(converted.Get(), value, 0, type))) return;
    value = converted.Get();
  }
  if (type == VT_BSTR) {
    std::swap(*caller->pbstrVal, value->bstrVal);
  } else if (type == VT_BOOL) {
    *caller->pboolVal = value->boolVal;
  } else if (type == VT_I4) {
    *caller->plVal = value->lVal;
  }
}

/// The argument at `position` in the declared type, or its default when the caller left it out.
/// `source` is the caller's argument, or null.
HRESULT TakeArgument(const Member& member, UINT position, const VARIANT* source, VARIANT* value) {
  VARIANT nothing;
  ::VariantInit(&nothing);
  if (IsMissing(source)) {
    if (!member.IsOptional(position)) {
      return source ? DISP_E_PARAMNOTOPTIONAL : DISP_E_BADPARAMCOUNT;
    }
    source = member.Default(position);
    if (!source) source = &nothing;
  }
  Variant direct;  // what a reference refers to
  const HRESULT copied = ::VariantCopyInd(direct.Get(), const_cast<VARIANT*>(source));
  if (FAILED(copied)) return copied;
  return ::VariantChangeType(value, direct.Get(), 0, member.ValueType(position));
}

}  // namespace

HRESULT InvokeMember(ITypeInfo* info, void* instance, DISPID id, WORD flags, DISPPARAMS* given,
                     VARIANT* result, EXCEPINFO* exception, UINT* bad) {
  if (!IsSound(given)) return E_INVALIDARG;
  const Member member(info, id, flags);
  if (!member) return DISP_E_MEMBERNOTFOUND;

  const UINT count = member.Arguments();
  std::vector<VARIANT*> callers;
  const HRESULT placed = ByPosition(*given, count, callers, bad);
  if (FAILED(placed)) return placed;

  std::vector<Variant> values(count);
  std::vector<VARIANT> passed(count);  // in the order of DISPPARAMS: the last argument first
  for (UINT position = 0; position < count; ++position) {
    VARIANT* local = values[position].Get();
    const HRESULT taken = TakeArgument(member, position, callers[position], local);
    if (FAILED(taken)) {
      if (bad && callers[position]) *bad = static_cast<UINT>(callers[position] - given->rgvarg);
      return taken;
    }
    VARIANT& slot = passed[count - 1 - position];
    if (member.IsByReference(position)) {
      MakeReference(local, slot);
    } else {
      slot = *local;  // borrowed for the call
    }
  }

  Variant
      unwanted;  // the member has to put its result somewhere, whether the caller wants it or not
  if (!result && member.HasResult()) result = unwanted.Get();
  DISPID put = DISPID_PROPERTYPUT;
  const bool is_put = (member.Kind() & (INVOKE_PROPERTYPUT | INVOKE_PROPERTYPUTREF)) != 0;
  DISPPARAMS arguments{passed.data(), is_put ? &put : nullptr, count, is_put ? 1U : 0U};
  const HRESULT called =
      info->Invoke(instance, id, member.Kind(), &arguments, result, exception, bad);
  if (FAILED(called)) return called;
  for (UINT position = 0; position < count; ++position) {
    if (member.IsByReference(position)) WriteBack(values[position].Get(), callers[position]);
  }
  return called;
}

}  // namespace mvsms::com
