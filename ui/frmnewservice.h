// frmNewService: offers a blank service or one from the catalogue. It writes nothing: whoever shows
// it reads the record of the chosen service afterwards.
#pragma once

#include <string>

#include "engine/catalogue.h"
#include "forms/form.h"

namespace mvsms {

class frmNewService final : public Form {
 public:
  explicit frmNewService(Platform& platform);
  ~frmNewService() override { Unload(); }

  /// Loads the form for another choice: the result is empty, the catalogue read afresh.
  void Prepare();
  /// The chosen service; empty when the user cancelled.
  const CatalogueRecord& Result() const { return result_; }

  OptionButton Option1[2];  // blank, predefined
  Label lblName;
  TextBox txtName;
  Label lblFilter;
  ComboBox cmbLanguage;
  Label lblServices;
  ListView lsServices;
  Label lblProviderInfo;
  CommandButton OKButton, CancelButton;

 private:
  void Form_Load() override;
  void LoadFile();
  void FillList();
  void Option1_Click();
  void OKButton_Click();
  void lblProviderInfo_Click();
  std::string ProviderPage() const;
  bool ShowsAll() const { return cmbLanguage.ListIndex() <= 0; }

  Catalogue catalogue_;
  CatalogueRecord result_;
};

}  // namespace mvsms
