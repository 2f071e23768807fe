<?php
// What a PHP program needs to exchange settings documents in the PHP-array form: see php.md.

/** The document as the settings server reads it: names and values become strings, numeric ones too. */
function zumra_serialize(array $document): string
{
    $string = fn($text): string => 's:' . strlen((string)$text) . ':"' . $text . '";';
    $text = 'a:' . count($document) . ':{';
    foreach ($document as $group => $values) {
        $text .= $string($group) . 'a:' . count($values) . ':{';
        foreach ($values as $name => $value) {
            $text .= $string($name) . $string($value);
        }
        $text .= '}';
    }
    return $text . '}';
}

/** The document that the settings server wrote: an array of groups, each an array of strings. */
function zumra_unserialize(string $text): array
{
    $document = unserialize(rtrim($text, "\n"), ['allowed_classes' => false]);
    if (!is_array($document)) {
        throw new UnexpectedValueException('This is no settings document.');
    }
    return $document;
}
