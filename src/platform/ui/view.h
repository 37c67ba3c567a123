// A rectangle of the screen that draws a background, a border and its
// content, holds subviews in back-to-front order, takes touches and can be
// placed by constraints (it is a layout item, and holds the constraints
// whose items it is the closest common ancestor of).
//
// Views are shared objects (create them with std::make_shared): a view keeps
// its subviews and gesture recognizers alive, and knows its superview
// without keeping it. Geometry is in points; a view's frame is in its
// superview's coordinates, its bounds in its own; a window's frame is in
// screen coordinates.
//
// Main thread only, like every object of the UI kit.
#ifndef TESSARIN_PLATFORM_UI_VIEW_H_
#define TESSARIN_PLATFORM_UI_VIEW_H_

#include <cairo.h>

#include <memory>
#include <vector>

#include "platform/ui/color.h"
#include "platform/ui/geometry.h"
#include "platform/ui/layout/layout_item.h"
#include "platform/ui/touch.h"

namespace tessarin::platform::ui {

class GestureRecognizer;
class LayoutGuide;
class Screen;
class ViewController;
class Window;

class View : public layout::LayoutItem, public std::enable_shared_from_this<View> {
 public:
  View();
  explicit View(const Rect& frame);
  ~View() override;
  View(const View&) = delete;
  View& operator=(const View&) = delete;

  // What kind of view this is, for descriptions of a screen.
  virtual const char* typeName() const { return "View"; }

  // Geometry. Setting the frame sets the bounds' size; the bounds' origin
  // is where the content is scrolled to (0, 0 unless set).
  const Rect& frame() const { return frame_; }
  void setFrame(const Rect& frame);
  const Rect& bounds() const { return bounds_; }
  void setBounds(const Rect& bounds);

  // Appearance.
  const Color& backgroundColor() const { return backgroundColor_; }
  void setBackgroundColor(const Color& color);
  // Multiplies into everything the view and its subviews draw.
  double alpha() const { return alpha_; }
  void setAlpha(double alpha);
  bool isHidden() const { return hidden_; }
  virtual void setHidden(bool hidden);
  double cornerRadius() const { return cornerRadius_; }
  void setCornerRadius(double radius);
  double borderWidth() const { return borderWidth_; }
  void setBorderWidth(double width);
  const Color& borderColor() const { return borderColor_; }
  void setBorderColor(const Color& color);
  // Subviews are cut to the bounds (rounded by the corner radius).
  bool clipsToBounds() const { return clipsToBounds_; }
  void setClipsToBounds(bool clips);

  // Hierarchy. A view has at most one superview: adding it elsewhere moves it.
  View* superview() const { return superview_; }
  const std::vector<std::shared_ptr<View>>& subviews() const { return subviews_; }
  void addSubview(std::shared_ptr<View> view);
  // At `index` in the back-to-front order (clamped to the end).
  void insertSubview(std::shared_ptr<View> view, std::size_t index);
  void removeFromSuperview();
  bool isDescendantOf(const View* view) const;
  // The window at the root of this view's tree, if any.
  Window* window() const;
  virtual Window* asWindow() { return nullptr; }
  virtual const Window* asWindow() const { return nullptr; }
  // The view controller whose view this is.
  ViewController* viewController() const { return viewController_; }

  // Touches and hit testing. A hidden view, a view with user interaction
  // off, or one nearly transparent (alpha below 0.01) takes no touch, and
  // neither do its subviews. Subviews are asked front to back.
  bool isUserInteractionEnabled() const { return userInteractionEnabled_; }
  void setUserInteractionEnabled(bool enabled) { userInteractionEnabled_ = enabled; }
  // `point` is in this view's coordinates; null when no view takes it.
  virtual View* hitTest(Point point);
  virtual bool pointInside(Point point) const;
  // What a view does with touches that reach it (controls react to them).
  virtual void touchBegan(const Touch& touch) { (void)touch; }
  virtual void touchMoved(const Touch& touch) { (void)touch; }
  virtual void touchEnded(const Touch& touch) { (void)touch; }
  virtual void touchCancelled(const Touch& touch) { (void)touch; }

  // Coordinates. A null view stands for this view's window (or, outside a
  // window, for the root of its tree).
  Point convertPoint(Point point, const View* to) const;
  Point convertPointFrom(Point point, const View* from) const;
  Rect convertRect(const Rect& rect, const View* to) const;
  // Screen coordinates, for views in a window.
  Point convertToScreen(Point point) const;
  Point convertFromScreen(Point point) const;

  // Gesture recognizers see the touches of this view and its subviews.
  void addGestureRecognizer(std::shared_ptr<GestureRecognizer> recognizer);
  void removeGestureRecognizer(const GestureRecognizer* recognizer);
  const std::vector<std::shared_ptr<GestureRecognizer>>& gestureRecognizers() const { return recognizers_; }

  // Layout. Frames come from constraints in a layout pass, which a window
  // runs on the main queue after something asked for one, or at once in
  // layoutIfNeeded. A view that translates its frame into the layout (the
  // default) keeps the frame it is given and is the root of the layout of
  // its subviews; one that does not is placed by its constraints.
  layout::LayoutItem* layoutParent() const override { return superview_; }
  Size intrinsicContentSize(double width) const override;
  void applyLayoutFrame(const Rect& frame) override { setFrame(frame); }
  void setNeedsLayout() override;
  bool needsLayout() const { return needsLayout_; }
  void layoutIfNeeded();
  // Tells the layout that intrinsicContentSize answers something new.
  void invalidateIntrinsicContentSize();
  bool translatesAutoresizingMaskIntoConstraints() const { return translatesFrame_; }
  void setTranslatesAutoresizingMaskIntoConstraints(bool translates);
  // Guides are layout items that mark a region of this view.
  void addLayoutGuide(std::shared_ptr<LayoutGuide> guide);
  const std::vector<std::shared_ptr<LayoutGuide>>& layoutGuides() const { return guides_; }
  // Called in a layout pass after the frames were solved, for views that
  // needed layout; subclasses place what constraints do not.
  virtual void layoutSubviews() {}
  // Calls layoutSubviews if this view needs layout.
  void layoutSubviewsIfNeeded();
  // The same for every view of the tree, parents before children.
  void layoutSubtreeIfNeeded();

  // Drawing. Content is drawn over the background and under the subviews,
  // in this view's bounds coordinates.
  virtual void drawContent(cairo_t* cr) const { (void)cr; }
  // Something this view draws itself changed: its bounds on the screen are
  // damaged. The view's own setters mark what they change (their rectangle
  // before and after a move, the whole subtree for alpha, hiding and
  // subview changes), so subclasses call this for their own content only.
  // Nothing is marked for a view outside a shown window.
  void setNeedsDisplay();
  // The screen rectangle this view and its subviews may draw in (hidden or
  // not): its bounds, and its subviews' extents unless it clips them.
  Rect screenExtent() const;

 protected:
  // The view's tree joined or left a window (null).
  virtual void didMoveToWindow() {}

 private:
  friend class ViewController;
  void detachFromSuperview();
  void notifyMovedToWindow(Window* previous);
  Point toSuperview(Point point) const;
  Point fromSuperview(Point point) const;
  // The screen this view is shown on (in a shown window), else null.
  Screen* shownOn() const;
  // The extent in this view's bounds coordinates.
  Rect extent() const;

  Rect frame_;
  Rect bounds_;
  Color backgroundColor_ = Color::clear();
  double alpha_ = 1;
  bool hidden_ = false;
  double cornerRadius_ = 0;
  double borderWidth_ = 0;
  Color borderColor_ = Color::black();
  bool clipsToBounds_ = false;
  bool userInteractionEnabled_ = true;
  bool needsLayout_ = true;
  bool translatesFrame_ = true;
  View* superview_ = nullptr;
  ViewController* viewController_ = nullptr;
  std::vector<std::shared_ptr<View>> subviews_;
  std::vector<std::shared_ptr<GestureRecognizer>> recognizers_;
  std::vector<std::shared_ptr<LayoutGuide>> guides_;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_VIEW_H_
