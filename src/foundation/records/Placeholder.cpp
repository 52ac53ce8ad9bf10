// Keeps the records library non-empty until its first sources land.
namespace ferro { int RecordsLibraryMarker = 0; }
