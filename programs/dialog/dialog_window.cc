#include "programs/dialog/dialog_window.h"

#include <algorithm>
#include <filesystem>
#include <string_view>

#include "platform/dialog_protocol.h"
#include "platform/user_notification.h"

namespace quelto::dialog {
namespace {

constexpr int iconSize = 64;
constexpr int outerMargin = 24;
/// In characters; longer texts are wrapped.
constexpr int headerWidth = 38;
constexpr int messageWidth = 46;
/// Pixels, so that short titles make no crumbs of the buttons.
constexpr int buttonWidth = 86;

/// The text, also when it came from somewhere that is not UTF-8: the toolkit takes nothing else.
Glib::ustring shownText(const std::string& text) { return Glib::ustring(text).make_valid(); }

std::string textOf(const platform::PropertyListDictionary& request, std::string_view key) {
  return platform::textAt(request, key).value_or("");
}

/// A field is one line; whatever was pasted or set from outside, no line end leaves it.
std::string withoutLineEnds(std::string text) {
  std::erase_if(text, [](char byte) { return byte >= '\n' && byte <= '\r'; });
  return text;
}

/// The variant for a display with twice the pixels, "prompt@2x.png" for "prompt.png", where there is one.
std::string iconFor(const std::string& path, int scale) {
  const std::filesystem::path plain(path);
  const std::filesystem::path large =
      plain.parent_path() / (plain.stem().string() + "@2x" + plain.extension().string());
  std::error_code error;
  return scale > 1 && std::filesystem::exists(large, error) ? large.string() : path;
}

void setUpText(Gtk::Label& label, const Glib::ustring& text, int width) {
  label.set_text(text);
  label.set_wrap(true);
  label.set_wrap_mode(Pango::WrapMode::WORD_CHAR);
  label.set_max_width_chars(width);
  // A hyphen put in where a long host name is broken would read as a part of it.
  Pango::AttrList attributes;
  auto noHyphens = Pango::Attribute::create_attr_insert_hyphens(false);
  attributes.insert(noHyphens);
  label.set_attributes(attributes);
  label.set_xalign(0);
}

void relate(Gtk::Accessible& widget, GtkAccessibleRelation relation, Gtk::Accessible& other) {
  gtk_accessible_update_relation(widget.gobj(), relation, other.gobj(), nullptr, -1);
}

}  // namespace

DialogWindow::DialogWindow(const platform::PropertyListDictionary& request) {
  set_title("queltoSSH");
  set_resizable(false);
  columns_.set_margin(outerMargin);
  set_child(columns_);
  addIcon(textOf(request, platform::kCFUserNotificationIconURLKey));
  columns_.append(rows_);
  rows_.set_hexpand(true);
  addTexts(textOf(request, platform::kCFUserNotificationAlertHeaderKey),
           textOf(request, platform::kCFUserNotificationAlertMessageKey));
  const std::uint64_t flags = platform::numberAt(request, platform::dialog::flagsKey).value_or(0);
  addField(textOf(request, platform::kCFUserNotificationTextFieldTitlesKey),
           textOf(request, platform::kCFUserNotificationTextFieldValuesKey));
  addCheckBox(textOf(request, platform::kCFUserNotificationCheckBoxTitlesKey),
              (flags & platform::firstCheckBoxFlag) != 0);
  addButtons(textOf(request, platform::kCFUserNotificationDefaultButtonTitleKey),
             textOf(request, platform::kCFUserNotificationAlternateButtonTitleKey));
  describe();
  connectKeys();
  reportFirstFrame();
}

void DialogWindow::addIcon(const std::string& path) {
  std::error_code error;
  if (path.empty() || !std::filesystem::exists(path, error)) return;
  icon_.set(iconFor(path, get_scale_factor()));
  icon_.set_pixel_size(iconSize);
  // It says nothing that the texts do not say.
  g_object_set(icon_.gobj(), "accessible-role", GTK_ACCESSIBLE_ROLE_PRESENTATION, nullptr);
  icon_.set_valign(Gtk::Align::START);
  columns_.append(icon_);
}

void DialogWindow::addTexts(const std::string& header, const std::string& message) {
  setUpText(header_, shownText(header), headerWidth);
  header_.add_css_class("title-4");
  rows_.append(header_);
  if (message.empty()) return;
  setUpText(message_, shownText(message), messageWidth);
  message_.set_width_chars(messageWidth);
  rows_.append(message_);
}

void DialogWindow::addField(const std::string& title, const std::string& value) {
  hasField_ = !title.empty();
  if (!hasField_) return;
  fieldTitle_.set_text(shownText(title));
  field_.set_text(shownText(withoutLineEnds(value)));
  field_.property_truncate_multiline() = true;
  field_.set_activates_default(true);
  field_.set_hexpand(true);
  fieldRow_.append(fieldTitle_);
  fieldRow_.append(field_);
  fieldRow_.set_margin_top(6);
  rows_.append(fieldRow_);
  set_focus(field_);
}

void DialogWindow::addCheckBox(const std::string& title, bool isTicked) {
  if (title.empty()) return;
  checkBox_.set_label(shownText(title));
  checkBox_.set_active(isTicked);
  rows_.append(checkBox_);
}

void DialogWindow::addButtons(const std::string& defaultTitle, const std::string& alternateTitle) {
  alternateButton_.set_label(shownText(alternateTitle));
  defaultButton_.set_label(shownText(defaultTitle));
  defaultButton_.add_css_class("suggested-action");
  alternateButton_.signal_clicked().connect(
      [this] { answer(platform::kCFUserNotificationAlternateResponse); });
  defaultButton_.signal_clicked().connect([this] { answer(platform::kCFUserNotificationDefaultResponse); });
  for (Gtk::Button* button : {&alternateButton_, &defaultButton_}) button->set_size_request(buttonWidth, -1);
  buttonRow_.set_halign(Gtk::Align::END);
  buttonRow_.set_homogeneous(true);
  buttonRow_.set_margin_top(12);
  buttonRow_.append(alternateButton_);
  buttonRow_.append(defaultButton_);
  rows_.append(buttonRow_);
  set_default_widget(defaultButton_);
  // Else the first button would have the focus, and Enter would press that one.
  if (!hasField_) set_focus(defaultButton_);
}

/// Tells assistive technology what belongs together.
void DialogWindow::describe() {
  relate(*this, GTK_ACCESSIBLE_RELATION_LABELLED_BY, header_);
  relate(*this, GTK_ACCESSIBLE_RELATION_DESCRIBED_BY, message_);
  relate(field_, GTK_ACCESSIBLE_RELATION_LABELLED_BY, fieldTitle_);
}

void DialogWindow::connectKeys() {
  const auto keys = Gtk::EventControllerKey::create();
  // Behind the field: Escape first gives up a letter that is being composed there.
  keys->set_propagation_phase(Gtk::PropagationPhase::BUBBLE);
  keys->signal_key_pressed().connect(
      [this](guint key, guint, Gdk::ModifierType) {
        if (key != GDK_KEY_Escape) return false;
        answer(platform::kCFUserNotificationAlternateResponse);
        return true;
      },
      false);
  add_controller(keys);
  signal_close_request().connect(
      [this] {
        answer(platform::kCFUserNotificationCancelResponse);
        return true;
      },
      false);
}

void DialogWindow::reportFirstFrame() {
  signal_map().connect([this] {
    // The wrapped class leaves this signal out.
    firstFrame_ = g_signal_connect_swapped(get_frame_clock()->gobj(), "after-paint",
                                           G_CALLBACK(&DialogWindow::afterFirstFrame), this);
  });
}

void DialogWindow::afterFirstFrame(DialogWindow* window) {
  g_signal_handler_disconnect(window->get_frame_clock()->gobj(), window->firstFrame_);
  window->isShown_ = true;
  window->shown_.emit();
}

void DialogWindow::answer(std::uint32_t button) {
  // A key pressed before the window could be seen was meant for another one.
  if (!isShown_ || std::exchange(isAnswered_, true)) return;
  const std::uint32_t tick = checkBox_.get_active() ? platform::firstCheckBoxFlag : 0;
  std::optional<std::string> text;
  if (hasField_) text = withoutLineEnds(field_.get_text().raw());
  answered_.emit({.flags = button | tick, .fieldText = text});
}

}  // namespace quelto::dialog
