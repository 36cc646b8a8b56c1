#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "programs/dialog/dialog_window.h"
#include "programs/dialog/request_channel.h"

namespace {

using quelto::dialog::DialogWindow;
using quelto::dialog::RequestChannel;

/// A window this small is drawn fastest without the graphics card. What the environment says wins.
void chooseRenderer() {
  ::setenv("GSK_RENDERER", "cairo", 0);
  ::setenv("GDK_DEBUG", "gl-disable", 0);
}

/// Follows the desktop's setting for dark windows, which the toolkit alone does not.
void followDarkMode() {
  constexpr const char* schema = "org.gnome.desktop.interface";
  constexpr const char* key = "color-scheme";
  const auto source = Gio::SettingsSchemaSource::get_default();
  const auto found = source ? source->lookup(schema, true) : Glib::RefPtr<Gio::SettingsSchema>();
  if (!found || !found->has_key(key)) return;
  const bool isDark = Gio::Settings::create(schema)->get_string(key) == "prefer-dark";
  if (isDark) Gtk::Settings::get_default()->property_gtk_application_prefer_dark_theme() = true;
}

void leave() { ::_exit(0); }

int showDialog(const quelto::platform::PropertyListDictionary& request) {
  const auto application = Gtk::Application::create("", Gio::Application::Flags::NON_UNIQUE);
  application->signal_activate().connect([&] {
    followDarkMode();
    auto* const window = Gtk::make_managed<DialogWindow>(request);
    window->whenShown().connect(&RequestChannel::sendShown);
    window->whenAnswered().connect([](const DialogWindow::Answer& answer) {
      RequestChannel::sendAnswer(answer.flags, answer.fieldText);
      leave();
    });
    RequestChannel::whenToolIsGone(&leave);
    application->add_window(*window);
    window->present();
  });
  return application->run();
}

}  // namespace

int main() {
  // A tool that is killed cannot take the window away. The second line finds one that was killed before the
  // first.
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (RequestChannel::isToolGone()) return 1;
  const auto request = RequestChannel::receive();
  if (!request) return 1;
  chooseRenderer();
  // Without a display the application object would print a message and end the program.
  if (gtk_init_check() == FALSE) {
    RequestChannel::sendUnavailable();
    return 1;
  }
  return showDialog(*request);
}
