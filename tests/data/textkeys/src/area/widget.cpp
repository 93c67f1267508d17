// A source the text-key scanner reads: literal keys, one split over lines, one built from a prefix.
void show()
{
    label->setText(Texts::text("Fixture.Translated"));
    button->setText(Texts::text(
        "Fixture.Untranslated"));
    const QByteArray key = "Fixture.Idiom." + idiom;
    title = Texts::text(key.constData());
    other = text("Fixture.NotAText"); // not a look-up of ours
}
