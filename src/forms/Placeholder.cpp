// Keeps the GUI library non-empty until the first forms land.
namespace ferro { int GuiLibraryMarker = 0; }
