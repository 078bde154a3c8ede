// Late binding: what hosts of scripting languages pass, and what they get back.
#include "tests/support/com_host.h"

namespace mvsms::com {
namespace {

/// Sends of a profile without settings end at once with error 5, after the arguments are in.
class Automation : public testing::Test {
 protected:
  explicit Automation(const char* profile = kEmptyProfile) : host_(profile) {}

  static VARIANT ByReference(VARIANT& variable) {
    VARIANT reference;
    reference.vt = VT_BYREF | VT_VARIANT;
    reference.pvarVal = &variable;
    return reference;
  }
  static VARIANT ByReference(BSTR& variable) {
    VARIANT reference;
    reference.vt = VT_BYREF | VT_BSTR;
    reference.pbstrVal = &variable;
    return reference;
  }
  static VARIANT Missing() {
    VARIANT missing;
    missing.vt = VT_ERROR;
    missing.scode = DISP_E_PARAMNOTFOUND;
    return missing;
  }
  static VARIANT Number(LONG value) {
    VARIANT number;
    number.vt = VT_I4;
    number.lVal = value;
    return number;
  }
  HRESULT Send(const std::vector<VARIANT>& arguments) {
    return Invoke(host_.dispatch(), L"SendMessage", DISPATCH_METHOD, arguments, &result_, &bad_);
  }
  std::string Status() { return host_.Status(); }

  Host host_;
  Value result_;
  UINT bad_ = 99;
};

class AutomationOfASend : public Automation {
 protected:
  AutomationOfASend() : Automation(kProfile) {
    WriteProfile();
    WriteService("Pager", "TAP", "12");  // the line is busy
  }
  ~AutomationOfASend() override { DeleteProfile(); }
};

TEST_F(AutomationOfASend, NothingIsSentWithoutAPlaceForTheResult) {
  Bstr texts[] = {Bstr("0171"), Bstr("0301"), Bstr("text"), Bstr("")};
  EXPECT_EQ(host_.sender().SendMessage(texts[0].InOut(), texts[1].InOut(), texts[2].InOut(),
                                       texts[3].InOut(), nullptr),
            E_POINTER);
  EXPECT_EQ(Status(), "");
}

TEST_F(AutomationOfASend, VariablesAreWrittenBack) {
  Value recipient(" 0171 55"), sender("0301"), message("  text "), service("");
  EXPECT_EQ(Send({ByReference(recipient), ByReference(sender), ByReference(message),
                  ByReference(service)}),
            S_OK);
  EXPECT_EQ(recipient.Text(), "017155");
  EXPECT_EQ(message.Text(), "text");
  EXPECT_EQ(service.Text(), "Pager");
  EXPECT_EQ(result_.vt, VT_BOOL);
}

TEST_F(AutomationOfASend, TypedVariablesAreWrittenBack) {
  BSTR message = ::SysAllocString(L"  text ");
  Value recipient("0171"), sender("0301");
  EXPECT_EQ(Send({recipient, sender, ByReference(message)}), S_OK);
  EXPECT_EQ(win32::AnsiFromBstr(message), "text");
  ::SysFreeString(message);
}

TEST_F(AutomationOfASend, VariableThatHoldsAReferenceIsFollowed) {
  BSTR message = ::SysAllocString(L"  text ");
  VARIANT outer = ByReference(message);
  Value recipient("0171"), sender("0301");
  EXPECT_EQ(Send({recipient, sender, ByReference(outer)}), S_OK);
  EXPECT_EQ(win32::AnsiFromBstr(message), "text");
  ::SysFreeString(message);
}

TEST_F(AutomationOfASend, NumbersAreConverted) {
  Value sender("0301"), message("text");
  Value recipient;
  recipient.vt = VT_I4;
  recipient.lVal = 49171;
  EXPECT_EQ(Send({ByReference(recipient), sender, message}), S_OK);
  EXPECT_EQ(recipient.Text(), "49171");
  EXPECT_NE(Status().find("Begin send message to 49171"), std::string::npos);
}

TEST_F(AutomationOfASend, LiteralsAreAcceptedAndKeepTheirValue) {
  Value recipient("0171"), sender("0301"), message("  text ");
  EXPECT_EQ(Send({recipient, sender, message}), S_OK);
  EXPECT_EQ(message.Text(), "  text ");
  EXPECT_NE(Status().find("Begin send message to 0171"), std::string::npos);
}

TEST_F(AutomationOfASend, ServiceNameMayBeLeftOut) {
  Value recipient("0171"), sender("0301"), message("text");
  EXPECT_EQ(Send({recipient, sender, message}), S_OK);
  EXPECT_EQ(Send({recipient, sender, message, Missing()}), S_OK);
  VARIANT missing = Missing();
  EXPECT_EQ(Send({recipient, sender, message, ByReference(missing)}), S_OK);
}

TEST_F(Automation, RequiredArgumentsMayNotBeLeftOut) {
  Value recipient("0171"), sender("0301");
  EXPECT_EQ(Send({recipient, sender}), DISP_E_BADPARAMCOUNT);
  EXPECT_EQ(Send({recipient, sender, Missing()}), DISP_E_PARAMNOTOPTIONAL);
  EXPECT_EQ(Send({recipient, sender, recipient, recipient, recipient}), DISP_E_BADPARAMCOUNT);
  EXPECT_EQ(Status(), "");
}

/// SendMessage with named arguments: position of the parameter and value, the last one first.
class NamedArguments : public Automation {
 protected:
  HRESULT Send(std::vector<DISPID> names, std::vector<VARIANT> values) {
    DISPPARAMS arguments{values.data(), names.data(), static_cast<UINT>(values.size()),
                         static_cast<UINT>(names.size())};
    return host_.dispatch()->Invoke(0x6003000a, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD,
                                    &arguments, &result_, nullptr, &bad_);
  }
  Value recipient_{"0171"}, sender_{"0301"}, message_{"text"};
};

TEST_F(NamedArguments, MayComeInAnyOrder) {
  EXPECT_EQ(Send({1, 0, 2}, {sender_, recipient_, message_}), S_OK);
  EXPECT_NE(Status().find("Begin send message to 0171"), std::string::npos);
}

TEST_F(NamedArguments, FollowThoseWithoutName) {
  EXPECT_EQ(Send({2}, {message_, sender_, recipient_}), S_OK);
  EXPECT_NE(Status().find("Begin send message to 0171"), std::string::npos);
}

TEST_F(NamedArguments, MayNotBeRepeated) {
  EXPECT_EQ(Send({2, 2, 1, 0}, {message_, message_, sender_, recipient_}), DISP_E_PARAMNOTFOUND);
  EXPECT_EQ(bad_, 0U);
  EXPECT_EQ(Send({0, 2}, {message_, message_, sender_, recipient_}), DISP_E_PARAMNOTFOUND);
  EXPECT_EQ(bad_, 0U);  // the first parameter has its value without a name
  EXPECT_EQ(Status(), "");
}

TEST_F(NamedArguments, MustNameAParameter) {
  EXPECT_EQ(Send({2, 7}, {message_, message_, sender_, recipient_}), DISP_E_PARAMNOTFOUND);
  EXPECT_EQ(bad_, 1U);
  EXPECT_EQ(Status(), "");
}

TEST_F(NamedArguments, DoNotReplaceRequiredOnes) {
  EXPECT_EQ(Send({2, 0}, {message_, recipient_}), DISP_E_BADPARAMCOUNT);
  EXPECT_EQ(Status(), "");
}

TEST_F(Automation, ReservedInterfaceMustBeNull) {
  DISPPARAMS none{};
  EXPECT_EQ(host_.dispatch()->Invoke(0x40030009, IID_IDispatch, LOCALE_USER_DEFAULT,
                                     DISPATCH_PROPERTYGET, &none, &result_, nullptr, &bad_),
            DISP_E_UNKNOWNINTERFACE);
  wchar_t text[] = L"Status";
  LPOLESTR name = text;
  DISPID id = 0;
  EXPECT_EQ(host_.dispatch()->GetIDsOfNames(IID_IDispatch, &name, 1, LOCALE_USER_DEFAULT, &id),
            DISP_E_UNKNOWNINTERFACE);
}

TEST_F(Automation, ArgumentsWithoutTheirArraysAreInvalid) {
  DISPPARAMS arguments{nullptr, nullptr, 3, 0};
  EXPECT_EQ(host_.dispatch()->Invoke(0x6003000a, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD,
                                     &arguments, &result_, nullptr, &bad_),
            E_INVALIDARG);
  EXPECT_EQ(host_.dispatch()->Invoke(0x6003000a, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD,
                                     nullptr, &result_, nullptr, &bad_),
            E_INVALIDARG);
}

TEST_F(Automation, NullIsATypeMismatchOfItsArgument) {
  Value recipient("0171"), sender("0301"), message, service("");
  message.vt = VT_NULL;
  EXPECT_EQ(Send({recipient, sender, message, service}), DISP_E_TYPEMISMATCH);
  EXPECT_EQ(bad_, 1U);  // counted from the last argument
  EXPECT_EQ(Status(), "");
}

TEST_F(Automation, EmptyIsAnEmptyText) {
  Value recipient("0171"), sender, message("text");
  EXPECT_EQ(Send({recipient, sender, message}), S_OK);
  EXPECT_NE(Status().find("5: Unable to load settings."), std::string::npos);
}

TEST_F(Automation, PropertiesAreReadAndWritten) {
  Value path("C:\\Log.txt"), read;
  EXPECT_EQ(Invoke(host_.dispatch(), L"LogFilePath", DISPATCH_PROPERTYPUT, {path}), S_OK);
  EXPECT_EQ(Invoke(host_.dispatch(), L"LogFilePath", DISPATCH_PROPERTYGET, {}, &read), S_OK);
  EXPECT_EQ(read.Text(), "C:\\Log.txt");
  Value number;
  number.vt = VT_I4;
  number.lVal = 7;
  EXPECT_EQ(Invoke(host_.dispatch(), L"RetrySuggested", DISPATCH_PROPERTYPUT, {number}), S_OK);
  EXPECT_TRUE(host_.RetrySuggested());
}

TEST_F(Automation, NamesAreFoundWithoutCaseAndUnknownOnesAreNot) {
  Value read;
  EXPECT_EQ(Invoke(host_.dispatch(), L"hostappname", DISPATCH_PROPERTYGET, {}, &read), S_OK);
  EXPECT_EQ(read.Text(), kEmptyProfile);
  EXPECT_EQ(Invoke(host_.dispatch(), L"NoSuchMember", DISPATCH_METHOD, {}), DISP_E_UNKNOWNNAME);
}

TEST_F(Automation, CharactersOutsideTheCodePageBecomeQuestionMarks) {
  const BSTR chinese = ::SysAllocString(L"\u4E2D");
  host_.sender().put_HostAppName(chinese);
  ::SysFreeString(chinese);
  Bstr kept;
  host_.sender().get_HostAppName(kept.Put());
  EXPECT_EQ(kept.Ansi(), "?");
}

TEST_F(Automation, GermanAndTypographicTextSurvives) {
  const std::string text = "\xC4\xD6\xDC\xE4\xF6\xFC\xDF \x80 \x84quote\x93";
  host_.sender().put_Status(Bstr(text).Get());
  EXPECT_EQ(Status(), text);
}

class ConfigObject : public testing::Test {
 protected:
  ConfigObject() {
    EXPECT_EQ(::CoCreateInstance(CLSID_Config, nullptr, CLSCTX_INPROC_SERVER, IID__Config,
                                 config_.PutVoid()),
              S_OK);
  }
  ComPtr<_Config> config_;
};

TEST_F(ConfigObject, KeepsItsSwitches) {
  VARIANT_BOOL value = VARIANT_TRUE;
  EXPECT_EQ(config_->get_DisableShowWindow(&value), S_OK);
  EXPECT_EQ(value, VARIANT_FALSE);
  EXPECT_EQ(config_->put_DisableShowWindow(VARIANT_TRUE), S_OK);
  EXPECT_EQ(config_->get_DisableShowWindow(&value), S_OK);
  EXPECT_EQ(value, VARIANT_TRUE);
  EXPECT_EQ(config_->get_EnforceLogging(&value), S_OK);
  EXPECT_EQ(value, VARIANT_FALSE);
  EXPECT_EQ(config_->put_EnforceLogging(VARIANT_TRUE), S_OK);
  EXPECT_EQ(config_->get_EnforceLogging(&value), S_OK);
  EXPECT_EQ(value, VARIANT_TRUE);
}

}  // namespace
}  // namespace mvsms::com
