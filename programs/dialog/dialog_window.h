#pragma once

#include <gtkmm.h>

#include <cstdint>
#include <optional>
#include <string>

#include "platform/resources/property_list.h"

namespace quelto::dialog {

/// One question: icon, bold header, message, a field and a check box if the request has titles for them, even
/// empty ones, and two buttons. All texts are plain. The first answer after the window was drawn counts; the
/// alternate button and Escape give the same one. Main thread only.
class DialogWindow : public Gtk::Window {
 public:
  struct Answer {
    /// Those of a response: the button and the check box.
    std::uint32_t flags;
    /// Absent when there is no field.
    std::optional<std::string> fieldText;
  };

  explicit DialogWindow(const platform::PropertyListDictionary& request);

  /// The window has been drawn for the first time.
  sigc::signal<void()>& whenShown() { return shown_; }
  /// The person has answered; emitted once, and not before the window was drawn.
  sigc::signal<void(const Answer&)>& whenAnswered() { return answered_; }

 private:
  void addIcon(const std::string& path);
  void addTexts(const std::string& header, const std::string& message);
  void addField(const std::string& title, const std::string& value);
  void addCheckBox(const std::string& title, bool isTicked);
  void addButtons(const std::string& defaultTitle, const std::string& alternateTitle);
  void fixWidth();
  void describe(std::uint64_t flags);
  void connectKeys();
  void reportFirstFrame();
  static void afterFirstFrame(DialogWindow* window);
  void answer(std::uint32_t button);

  Gtk::Box columns_{Gtk::Orientation::HORIZONTAL, 18};
  Gtk::Box rows_{Gtk::Orientation::VERTICAL, 12};
  Gtk::Image icon_;
  Gtk::Box texts_{Gtk::Orientation::VERTICAL, 12};
  Gtk::ScrolledWindow textScroller_;
  Gtk::Label header_;
  Gtk::Label message_;
  Gtk::Box fieldRow_{Gtk::Orientation::HORIZONTAL, 12};
  Gtk::Label fieldTitle_;
  Gtk::Entry field_;
  Gtk::CheckButton checkBox_;
  Gtk::Label checkBoxTitle_;
  Gtk::Box buttonRow_{Gtk::Orientation::HORIZONTAL, 12};
  Gtk::Button alternateButton_;
  Gtk::Button defaultButton_;
  bool hasField_ = false;
  bool isShown_ = false;
  bool isAnswered_ = false;
  gulong firstFrame_ = 0;
  sigc::signal<void()> shown_;
  sigc::signal<void(const Answer&)> answered_;
};

}  // namespace quelto::dialog
