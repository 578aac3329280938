/* Signals as something to wait for together with other input: each that arrives makes a descriptor readable. */
#ifndef CADENZ_APP_SIGNALS_H
#define CADENZ_APP_SIGNALS_H

namespace app {

/** As long as it lives the program isn't ended or stopped by what a terminal or a person sends; one may live at a time. */
class signal_watch {
 public:
  signal_watch();
  ~signal_watch();
  signal_watch(const signal_watch&) = delete;
  signal_watch& operator=(const signal_watch&) = delete;

  struct arrived {
    bool end = false;      // Ctrl-C, Ctrl-\, SIGTERM, a closed terminal
    bool child = false;    // a child ended
    bool suspend = false;  // Ctrl-Z

    bool any() const { return end || child || suspend; }
    arrived& operator|=(const arrived& more) {
      end |= more.end, child |= more.child, suspend |= more.suspend;
      return *this;
    }
  };

  /** Readable when take() has something. */
  int descriptor() const;
  arrived take();
};

}  // namespace app

#endif
