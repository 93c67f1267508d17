// A source whose keys come from a table of literals.
void addItems()
{
    const struct { const char* name; const char* text; } items[] = {
        {"first", "Fixture.Menu.First"},
        {"second", "Fixture.Menu.Second"},
    };
    for (const auto& item : items)
        menu->addAction(Texts::text(item.text));
}
