#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

/// The questions to the person, in a window or on the terminal. Every text is a key and a default, looked up
/// in the dialog's table; titles and messages are formats that `arguments` fill. The calls block until the
/// person answers. Main thread only.
namespace quelto::ui {

/// A question with one field and one check box, which starts ticked.
struct FieldDialog {
  /// File name of the icon in `resourceUrl`.
  std::string iconId;
  std::string titleId;
  std::string titleDefault;
  std::string messageId;
  std::string messageDefault;
  std::vector<std::string> arguments;
  std::string fieldTitleId;
  std::string fieldTitleDefault;
  /// What the field holds at first. In a window it takes 65534 bytes and leaves the rest out.
  std::string fieldValue;
  std::string checkRememberId;
  std::string checkRememberDefault;
  std::string buttonOKId;
  std::string buttonOKDefault;
  std::string buttonCancelId;
  std::string buttonCancelDefault;
  std::string localizedTable;
  std::string resourceUrl;
};

struct FieldAnswer {
  /// As typed; may be empty.
  std::string text;
  bool remember;
};

/// Returns when the person accepts. Everything else ends the process with status 255 and a line on standard
/// error: E02 when the question could not be shown, E03 when no answer came back, C01 when the person
/// cancelled.
[[nodiscard]] FieldAnswer showFieldDialog(const FieldDialog& dialog);

/// A question that is answered with yes or no.
struct AlertDialog {
  std::string iconId;
  std::string titleId;
  std::string titleDefault;
  std::string messageId;
  std::string messageDefault;
  std::vector<std::string> arguments;
  std::string buttonYesId;
  std::string buttonYesDefault;
  std::string buttonNoId;
  std::string buttonNoDefault;
  std::string resourceUrl;
  std::string table;
  /// Gets true for yes, absent when the question could not be shown, and false for everything else: no,
  /// Escape in the window, Ctrl-D on the terminal, a closed window, a lost question. May be empty.
  std::function<void(std::optional<bool>)> action;
};

void showAlertDialog(const AlertDialog& dialog);

}  // namespace quelto::ui
