// Keeps the charts library non-empty until its first sources land.
namespace ferro { int ChartsLibraryMarker = 0; }
