#include "programs/dialog/dialog_window.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <string_view>

#include "platform/dialog/dialog_protocol.h"
#include "platform/dialog/notification.h"
#include "platform/text/harmless_text.h"

namespace quelto::dialog {
namespace {

constexpr int iconSize = 64;
constexpr int outerMargin = 24;
/// In characters; longer texts are wrapped.
constexpr int textWidth = 46;
/// In characters; longer texts are shortened. The toolkit takes seconds to break one of 65536 characters into
/// lines. `bundle/README.md` names these limits to translators.
constexpr std::size_t longestText = 4096;
constexpr std::size_t longestTitle = 30;
constexpr std::size_t longestCheckBoxTitle = 64;
/// The least width, in pixels: a button as narrow as a short title is hard to hit.
constexpr int buttonWidth = 86;

/// The text as the toolkit takes it, valid UTF-8 only, shortened in the middle to `limit` characters.
Glib::ustring shownText(const std::string& text, std::size_t limit) {
  Glib::ustring shown = Glib::ustring(text).make_valid();
  if (shown.size() <= limit) return shown;
  return shown.substr(0, limit / 2) + "\u2026" + shown.substr(shown.size() - limit / 2);
}

/// The same on one line.
Glib::ustring shownTitle(const std::string& title, std::size_t limit) {
  return shownText(platform::joinedLines(title), limit);
}

/// The variant for a display with twice the pixels, "prompt@2x.png" for "prompt.png", where there is one.
std::string iconFor(const std::string& path, int scale) {
  const std::filesystem::path plain(path);
  const std::filesystem::path large =
      plain.parent_path() / (plain.stem().string() + "@2x" + plain.extension().string());
  std::error_code error;
  return scale > 1 && std::filesystem::exists(large, error) ? large.string() : path;
}

int naturalSize(const Gtk::Widget& widget, Gtk::Orientation orientation, int forSize) {
  int minimum = 0;
  int natural = 0;
  int baseline = 0;
  widget.measure(orientation, forSize, minimum, natural, baseline, baseline);
  return natural;
}

struct Size {
  int width;
  int height;
};

/// In pixels: the least width and the least height of the monitors, on any of which the window may appear.
Size monitorSize() {
  Size size{.width = std::numeric_limits<int>::max(), .height = std::numeric_limits<int>::max()};
  const auto monitors = Gdk::Display::get_default()->get_monitors();
  for (guint index = 0; index < monitors->get_n_items(); ++index) {
    const auto monitor = std::dynamic_pointer_cast<Gdk::Monitor>(monitors->get_object(index));
    if (!monitor) continue;
    Gdk::Rectangle area;
    monitor->get_geometry(area);
    size = {.width = std::min(size.width, area.get_width()),
            .height = std::min(size.height, area.get_height())};
  }
  return size;
}

void setUpText(Gtk::Label& label, const Glib::ustring& text) {
  label.set_text(text);
  label.set_wrap(true);
  label.set_wrap_mode(Pango::WrapMode::WORD_CHAR);
  label.set_max_width_chars(textWidth);
  // A hyphen put in where a long host name is broken would read as a part of it.
  Pango::AttrList attributes;
  auto noHyphens = Pango::Attribute::create_attr_insert_hyphens(false);
  attributes.insert(noHyphens);
  label.set_attributes(attributes);
  label.set_xalign(0);
}

/// Bold and larger than the other texts, whatever font the desktop has.
void setUpHeader(Gtk::Label& label, const Glib::ustring& text) {
  setUpText(label, text);
  Pango::AttrList attributes = label.get_attributes();
  auto weight = Pango::Attribute::create_attr_weight(Pango::Weight::BOLD);
  auto scale = Pango::Attribute::create_attr_scale(PANGO_SCALE_LARGE);
  attributes.insert(weight);
  attributes.insert(scale);
  label.set_attributes(attributes);
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
  const auto text = [&request](std::string_view key) { return platform::textAt(request, key).value_or(""); };
  addIcon(text(platform::kCFUserNotificationIconURLKey));
  columns_.append(rows_);
  rows_.set_hexpand(true);
  addTexts(text(platform::kCFUserNotificationAlertHeaderKey),
           text(platform::kCFUserNotificationAlertMessageKey));
  const std::uint64_t flags = platform::numberAt(request, platform::dialog::flagsKey).value_or(0);
  if (const auto title = platform::textAt(request, platform::kCFUserNotificationTextFieldTitlesKey)) {
    addField(*title, text(platform::kCFUserNotificationTextFieldValuesKey));
  }
  if (const auto title = platform::textAt(request, platform::kCFUserNotificationCheckBoxTitlesKey)) {
    addCheckBox(*title, (flags & platform::firstCheckBoxFlag) != 0);
  }
  addButtons(text(platform::kCFUserNotificationDefaultButtonTitleKey),
             text(platform::kCFUserNotificationAlternateButtonTitleKey));
  fixWidth();
  describe(flags);
  connectKeys();
  reportFirstFrame();
}

void DialogWindow::addIcon(const std::string& path) {
  std::error_code error;
  if (path.empty() || !std::filesystem::exists(path, error)) return;
  icon_.set(iconFor(path, get_scale_factor()));
  icon_.set_pixel_size(iconSize);
  // The texts say all that it says.
  g_object_set(icon_.gobj(), "accessible-role", GTK_ACCESSIBLE_ROLE_PRESENTATION, nullptr);
  icon_.set_valign(Gtk::Align::START);
  columns_.append(icon_);
}

void DialogWindow::addTexts(const std::string& header, const std::string& message) {
  setUpHeader(header_, shownText(header, longestText));
  texts_.append(header_);
  if (!message.empty()) {
    setUpText(message_, shownText(message, longestText));
    texts_.append(message_);
  }
  // With everything else in it the window must fit on the monitor.
  const Size monitor = monitorSize();
  const Size maximum{.width = monitor.width / 2, .height = monitor.height / 2};
  const int width = std::min(naturalSize(texts_, Gtk::Orientation::HORIZONTAL, -1), maximum.width);
  if (naturalSize(texts_, Gtk::Orientation::VERTICAL, width) <= maximum.height) return rows_.append(texts_);
  textScroller_.set_policy(Gtk::PolicyType::NEVER, Gtk::PolicyType::ALWAYS);
  textScroller_.set_size_request(-1, maximum.height);
  // A visible scroll bar says that there is more, and the keys that scroll need a focus.
  textScroller_.set_overlay_scrolling(false);
  textScroller_.set_focusable(true);
  texts_.set_margin_end(6);
  textScroller_.set_child(texts_);
  rows_.append(textScroller_);
}

void DialogWindow::addField(const std::string& title, const std::string& value) {
  hasField_ = true;
  fieldTitle_.set_text(shownTitle(title, longestTitle));
  field_.set_text(Glib::ustring(platform::singleLineText(value)).make_valid());
  field_.property_truncate_multiline() = true;
  field_.set_activates_default(true);
  field_.set_hexpand(true);
  if (!title.empty()) fieldRow_.append(fieldTitle_);
  fieldRow_.append(field_);
  fieldRow_.set_margin_top(6);
  rows_.append(fieldRow_);
  set_focus(field_);
}

void DialogWindow::addCheckBox(const std::string& title, bool isTicked) {
  setUpText(checkBoxTitle_, shownTitle(title, longestCheckBoxTitle));
  checkBox_.set_child(checkBoxTitle_);
  checkBox_.add_css_class("text-button");
  checkBox_.set_active(isTicked);
  // Enter would tick it otherwise.
  const auto keys = Gtk::ShortcutController::create();
  keys->set_propagation_phase(Gtk::PropagationPhase::CAPTURE);
  keys->add_shortcut(Gtk::Shortcut::create(Gtk::ShortcutTrigger::parse_string("Return|KP_Enter|ISO_Enter"),
                                           Gtk::NamedAction::create("default.activate")));
  checkBox_.add_controller(keys);
  rows_.append(checkBox_);
}

void DialogWindow::addButtons(const std::string& defaultTitle, const std::string& alternateTitle) {
  alternateButton_.set_label(shownTitle(alternateTitle, longestTitle));
  defaultButton_.set_label(shownTitle(defaultTitle, longestTitle));
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
  // The first button would have the focus otherwise, and Enter would press that one.
  if (!hasField_) set_focus(defaultButton_);
}

/// Leaves the toolkit one width to choose. From a range it may take the height that belongs to another width
/// than the one that it takes in the end, and leave the rest of the height empty.
void DialogWindow::fixWidth() {
  const int width = naturalSize(rows_, Gtk::Orientation::HORIZONTAL, -1);
  const int others = naturalSize(columns_, Gtk::Orientation::HORIZONTAL, -1) - width;
  rows_.set_size_request(std::clamp(monitorSize().width - others, 0, width), -1);
}

/// Tells assistive technology what this is and what belongs together.
void DialogWindow::describe(std::uint64_t flags) {
  const bool isAlert = (flags & platform::levelMask) == platform::kCFUserNotificationCautionAlertLevel;
  g_object_set(gobj(), "accessible-role",
               isAlert ? GTK_ACCESSIBLE_ROLE_ALERT_DIALOG : GTK_ACCESSIBLE_ROLE_DIALOG, nullptr);
  relate(*this, GTK_ACCESSIBLE_RELATION_LABELLED_BY, header_);
  relate(*this, GTK_ACCESSIBLE_RELATION_DESCRIBED_BY, message_);
  // The toolkit would call a part without a title by the name of its class.
  const auto orMessage = [this](Gtk::Label& title) -> Gtk::Label& {
    return title.get_text().empty() ? message_ : title;
  };
  relate(field_, GTK_ACCESSIBLE_RELATION_LABELLED_BY, orMessage(fieldTitle_));
  relate(checkBox_, GTK_ACCESSIBLE_RELATION_LABELLED_BY, orMessage(checkBoxTitle_));
  // Some screen readers speak only the part that has the focus, not the window around it.
  Gtk::Widget& focused = hasField_ ? static_cast<Gtk::Widget&>(field_) : defaultButton_;
  relate(focused, GTK_ACCESSIBLE_RELATION_DESCRIBED_BY, message_);
}

void DialogWindow::connectKeys() {
  const auto keys = Gtk::EventControllerKey::create();
  // After the field, where Escape first gives up a letter that is being composed.
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
    // The C++ class lacks this signal.
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
  // A key pressed before the window was visible was meant for another one.
  if (!isShown_ || std::exchange(isAnswered_, true)) return;
  const std::uint32_t tick = checkBox_.get_active() ? platform::firstCheckBoxFlag : 0;
  std::optional<std::string> text;
  if (hasField_) text = platform::singleLineText(field_.get_text().raw());
  answered_.emit({.flags = button | tick, .fieldText = text});
}

}  // namespace quelto::dialog
